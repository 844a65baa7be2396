// The gateway as a whole: one port for browsers, sessions to the main port, history, visitors.

import { readFileSync, statSync } from 'node:fs';
import * as http from 'node:http';
import * as https from 'node:https';
import { connect, type Socket } from 'node:net';
import { WebSocketServer, type WebSocket } from 'ws';
import { codePageNumbers, openCodePage, type CodePage, type CodePageNumber } from '@vnq/protocol';
import { Api } from './api';
import { History } from './history';
import { answer, answerJson } from './http_answers';
import { networkOf, Places } from './limits';
import type { Log } from './log';
import { Metrics } from './metrics';
import type { Options } from './options';
import { Bridge, closing } from './session';
import { KeptFiles, sendFile, StaticFiles } from './static_files';
import { Tokens } from './tokens';
import { VisitorDesk } from './visitor_desk';
import { VisitorStore } from './visitor_store';
import { post } from './webhook';

export const version = '0.1.0';

const mostFrameBytes = 1 << 20;
const mostVisitorFrameBytes = 16 << 10;
const pingEveryMs = 30_000;
const dayMs = 86_400_000;
const certificateEveryMs = 5_000;
const probeKeptMs = 30_000;

type Alive = WebSocket & { missedPings?: number };

export class Gateway {
  readonly metrics = new Metrics();
  readonly #server: http.Server;
  readonly #tokens = new Tokens();
  readonly #history: History | undefined;
  readonly #files: StaticFiles;
  readonly #widget = new KeptFiles();
  readonly #staff = webSockets(mostFrameBytes);
  readonly #visitorSockets = webSockets(mostVisitorFrameBytes);
  readonly #sessionPlaces: Places;
  readonly #visitorPlaces: Places;
  readonly #bridges = new Set<Bridge>();
  readonly #sockets = new Set<Alive>();
  readonly #timers: ReturnType<typeof setInterval>[] = [];
  #page: CodePage | undefined;
  #codePage = 936;
  #desk: VisitorDesk | undefined;
  #store: VisitorStore | undefined;
  #api: Api | undefined;
  #certificateStamp = '';
  #probe: { at: number; isThere: Promise<boolean> } | undefined;

  constructor(
    private readonly options: Options,
    private readonly log: Log,
  ) {
    const { appPath, vnqctl, historyProcesses } = options;
    if (appPath !== undefined) this.#history = new History({ vnqctl, appPath, processes: historyProcesses }, log);
    this.#files = new StaticFiles(options.web);
    this.#sessionPlaces = new Places(options.sessionsPerAddress);
    this.#visitorPlaces = new Places(options.visitorsPerAddress);
    this.#server = this.#makeServer();
  }

  /** Listens. Rejects when the address cannot be had or the visitors' folder cannot be used. */
  async start(): Promise<{ address: string; port: number }> {
    await this.#chooseCodePage();
    this.#openDesk();
    this.#api = new Api({
      tokens: this.#tokens,
      history: this.#history,
      visitors: this.#desk,
      config: () => ({ codePage: this.#codePage, visitors: this.#desk !== undefined, version }),
    });
    this.#gauges();
    this.#server.on('request', (request, response) => this.#answer(request, response));
    this.#server.on('upgrade', (request, socket, head) => this.#upgrade(request, socket, head));
    this.#timers.push(setInterval(() => this.#pingAll(), pingEveryMs));
    if (this.#store) this.#timers.push(setInterval(() => this.#store?.sweep(), dayMs / 24));
    if (this.options.certificate) this.#timers.push(setInterval(() => this.#watchCertificate(), certificateEveryMs));
    await new Promise<void>((resolve, reject) => {
      this.#server.once('error', reject);
      this.#server.listen(this.options.listen, () => resolve());
    });
    const { address, port } = this.#server.address() as { address: string; port: number };
    this.log.info('listening', { address, port, tls: this.options.certificate !== undefined, history: this.#history !== undefined });
    return { address, port };
  }

  /** Tells every browser that it goes, and ends. */
  async stop(): Promise<void> {
    for (const timer of this.#timers) clearInterval(timer);
    for (const bridge of this.#bridges) bridge.end(closing.gatewayStops, 'the gateway stops');
    this.#desk?.stop();
    for (const ws of this.#sockets) ws.close(closing.gatewayStops, 'the gateway stops');
    const closed = new Promise<void>((resolve) => this.#server.close(() => resolve()));
    this.#server.closeIdleConnections?.();
    const impatient = setTimeout(() => this.#sockets.forEach((ws) => ws.terminate()), 1000);
    await closed;
    clearTimeout(impatient);
    this.#history?.stop();
    this.#tokens.stop();
  }

  /** Reads certificate and key again; what cannot be used leaves the ones in use. */
  rereadCertificate(): void {
    const { certificate, key } = this.options;
    if (certificate === undefined || key === undefined) return;
    try {
      (this.#server as https.Server).setSecureContext({ cert: readFileSync(certificate), key: readFileSync(key) });
      this.log.info('certificate_reread');
    } catch (error) {
      this.log.error('certificate_unusable', { why: (error as Error).message });
    }
  }

  // --- making

  #makeServer(): http.Server {
    const { certificate, key } = this.options;
    const common = { maxHeaderSize: 16 << 10 };
    const server =
      certificate === undefined || key === undefined
        ? http.createServer(common)
        : https.createServer({ ...common, cert: readFileSync(certificate), key: readFileSync(key), minVersion: 'TLSv1.2' });
    this.#certificateStamp = this.#stampOfCertificate();
    server.headersTimeout = 15_000;
    server.requestTimeout = 30_000;
    server.on('clientError', (_: Error, socket: Socket) => socket.destroy());
    return server;
  }

  async #chooseCodePage(): Promise<void> {
    let number = this.options.codePage;
    if (number === undefined && this.#history) {
      const settings = await this.#history.ask<{ code_page: number }>({ do: 'settings' }).catch((error: Error) => {
        this.log.warning('no_settings', { why: error.message });
      });
      number = settings?.code_page;
    }
    this.#codePage = number ?? 936;
    const known = codePageNumbers.includes(this.#codePage as CodePageNumber);
    if (known) this.#page = await openCodePage(this.#codePage as CodePageNumber);
    else this.log.warning('unknown_code_page', { code_page: this.#codePage });
  }

  #openDesk(): void {
    const { agents, visitorData, visitorDays, formWebhook, server } = this.options;
    if (agents.length === 0 || visitorData === undefined) return;
    if (!this.#page) throw new Error(`visitors need a code page that the gateway knows; ${this.#codePage} is none`);
    this.#store = new VisitorStore(visitorData, visitorDays);
    this.#desk = new VisitorDesk({
      mainPort: server,
      page: this.#page,
      agents,
      formWebhook,
      store: this.#store,
      history: this.#history,
      post,
      log: this.log,
      metrics: this.metrics,
    });
  }

  #gauges(): void {
    this.metrics.gauge('vnq_gateway_sessions', 'Staff who are connected.', () => this.#bridges.size);
    this.metrics.gauge('vnq_gateway_tokens', 'Tokens that are alive.', () => this.#tokens.size);
    this.metrics.gauge('vnq_gateway_history_waiting', 'Requests that wait for the history reader.', () => this.#history?.waiting ?? 0);
    this.metrics.gauge('vnq_gateway_memory_bytes', 'Memory of the process.', () => process.memoryUsage().rss);
    this.metrics.gauge('vnq_gateway_uptime_seconds', 'Since the start.', () => Math.round(process.uptime()));
  }

  #stampOfCertificate(): string {
    const { certificate, key } = this.options;
    try {
      return [certificate, key].map((file) => (file === undefined ? '' : `${statSync(file).mtimeMs}`)).join('/');
    } catch {
      return this.#certificateStamp;
    }
  }

  #watchCertificate(): void {
    const stamp = this.#stampOfCertificate();
    if (stamp === this.#certificateStamp) return;
    this.#certificateStamp = stamp;
    this.rereadCertificate();
  }

  // --- HTTP

  // A file that cannot be read may not end the process for everybody.
  #answer(request: http.IncomingMessage, response: http.ServerResponse): void {
    this.metrics.count('vnq_gateway_requests_total', 'HTTP requests.');
    if (this.options.certificate) response.setHeader('Strict-Transport-Security', 'max-age=31536000');
    try {
      this.#route(request, response);
    } catch (error) {
      this.log.error('request_failed', { path: urlOf(request)?.pathname, why: (error as Error).message });
      answerJson(response, 500, { error: 'the gateway has failed' });
    }
  }

  #route(request: http.IncomingMessage, response: http.ServerResponse): void {
    const url = urlOf(request);
    if (!url) answerJson(response, 400, { error: 'the address makes no sense' });
    else if (url.pathname.startsWith('/api/')) void this.#api?.handle(request, response, url);
    else if (url.pathname === '/health') this.#operators(request, response, () => void this.#health(response));
    else if (url.pathname === '/metrics') this.#operators(request, response, () => answer(response, 200, 'text/plain; version=0.0.4', this.metrics.text()));
    else if (url.pathname === '/widget.js') this.#answerWidget(request, response);
    else this.#files.handle(request, response, url.pathname);
  }

  async #health(response: http.ServerResponse): Promise<void> {
    const server = await this.#isServerThere();
    const history = this.#history?.isThere ?? null;
    const isWell = server && history !== false;
    answerJson(response, isWell ? 200 : 503, {
      status: isWell ? 'ok' : 'failing',
      server,
      history,
      sessions: this.#bridges.size,
      visitors: this.#desk?.size ?? 0,
      version,
    });
  }

  // Each try takes a slot of the server for a while, so a result is kept.
  #isServerThere(): Promise<boolean> {
    if (!this.#probe || Date.now() - this.#probe.at > probeKeptMs) {
      this.#probe = { at: Date.now(), isThere: canConnect(this.options.server) };
    }
    return this.#probe.isThere;
  }

  #operators(request: http.IncomingMessage, response: http.ServerResponse, then: () => void): void {
    const address = plain(request.socket.remoteAddress);
    // Behind a proxy everybody comes from this machine.
    const isLocal = address.startsWith('127.') || address === '::1';
    const isForwarded = request.headers['x-forwarded-for'] !== undefined;
    if ((isLocal && !isForwarded) || this.options.operators.includes(address)) then();
    else answerJson(response, 403, { error: 'for operators only' });
  }

  #answerWidget(request: http.IncomingMessage, response: http.ServerResponse): void {
    const { widget } = this.options;
    if (widget === undefined) return answerJson(response, 404, { error: 'this gateway has no widget' });
    const type = 'text/javascript; charset=utf-8';
    sendFile(request, response, this.#widget.read(widget, type), type, {
      'X-Content-Type-Options': 'nosniff',
      'Cross-Origin-Resource-Policy': 'cross-origin',
      'Access-Control-Allow-Origin': '*',
      'Cache-Control': 'public, max-age=300',
    });
  }

  // --- WebSockets

  #upgrade(request: http.IncomingMessage, socket: Socket, head: Uint8Array): void {
    socket.on('error', () => undefined);
    const path = urlOf(request)?.pathname;
    if (path === '/ws') this.#receiveStaff(request, socket, head);
    else if (path === '/visitor' && this.#desk) this.#receiveVisitor(request, socket, head);
    else refuse(socket, '404 Not Found');
  }

  #receiveStaff(request: http.IncomingMessage, socket: Socket, head: Uint8Array): void {
    if (!isSameOrigin(request)) return this.#turnAway(socket, 'origin', '403 Forbidden');
    const address = this.#addressOf(request);
    const isFull = this.#bridges.size >= this.options.maxSessions;
    this.#admit({ request, socket, head }, this.#staff, this.#sessionPlaces, isFull, address, (ws) =>
      this.#bridge(ws, address),
    );
  }

  #receiveVisitor(request: http.IncomingMessage, socket: Socket, head: Uint8Array): void {
    const { visitorOrigins, maxVisitors } = this.options;
    const origin = request.headers.origin;
    if (visitorOrigins.length > 0 && (origin === undefined || !visitorOrigins.includes(origin))) {
      return this.#turnAway(socket, 'origin', '403 Forbidden');
    }
    const address = this.#addressOf(request);
    const isFull = (this.#desk?.size ?? 0) >= maxVisitors;
    this.#admit({ request, socket, head }, this.#visitorSockets, this.#visitorPlaces, isFull, address, (ws) =>
      this.#desk?.receive(ws, address),
    );
  }

  // A refusal is a close code, which a page can read, unlike a failed handshake.
  #admit(
    { request, socket, head }: { request: http.IncomingMessage; socket: Socket; head: Uint8Array },
    sockets: WebSocketServer,
    places: Places,
    isFull: boolean,
    address: string,
    then: (ws: WebSocket) => void,
  ): void {
    const from = networkOf(address);
    const why = isFull ? 'full' : places.take(from) ? '' : 'address';
    let isWebSocket = false;
    sockets.handleUpgrade(request, socket, head, (ws) => {
      isWebSocket = true;
      if (why !== '') return this.#close(ws, why, isFull);
      ws.once('close', () => places.give(from));
      this.#keepAlive(ws);
      then(ws);
    });
    if (!isWebSocket && why === '') places.give(from);
  }

  #bridge(ws: WebSocket, address: string): void {
    const bridge = new Bridge(ws, this.options.server, this.#page, this.#tokens, {
      up: (bytes) => this.metrics.count('vnq_gateway_bytes_total', 'Bytes passed on.', 'to="server"', bytes),
      down: (bytes) => this.metrics.count('vnq_gateway_bytes_total', 'Bytes passed on.', 'to="browser"', bytes),
      proven: ({ user, device }) => {
        this.metrics.count('vnq_gateway_logins_total', 'Log-ins that the server has granted.');
        this.log.info('session', { user, device, address });
      },
      ended: (why) => {
        this.#bridges.delete(bridge);
        this.log.info('session_ended', { address, why });
      },
    });
    this.#bridges.add(bridge);
  }

  #turnAway(socket: Socket, why: string, status: string): void {
    this.metrics.count('vnq_gateway_refused_total', 'Connections that were refused.', `why="${why}"`);
    refuse(socket, status);
  }

  #close(ws: WebSocket, why: string, isFull: boolean): void {
    this.metrics.count('vnq_gateway_refused_total', 'Connections that were refused.', `why="${why}"`);
    ws.on('error', () => undefined);
    if (isFull) ws.close(closing.serverAway, 'the gateway is full');
    else ws.close(closing.refused, 'too many connections from this address');
  }

  #keepAlive(ws: Alive): void {
    this.#sockets.add(ws);
    ws.on('pong', () => (ws.missedPings = 0));
    ws.once('close', () => this.#sockets.delete(ws));
  }

  #pingAll(): void {
    for (const ws of this.#sockets) {
      ws.missedPings = (ws.missedPings ?? 0) + 1;
      if (ws.missedPings > 2) ws.terminate();
      else ws.ping();
    }
  }

  #addressOf(request: http.IncomingMessage): string {
    const forwarded = this.options.behindProxy ? request.headers['x-forwarded-for']?.split(',').pop()?.trim() : undefined;
    return plain(forwarded ?? request.socket.remoteAddress);
  }
}

function webSockets(maxPayload: number): WebSocketServer {
  return new WebSocketServer({ noServer: true, maxPayload, perMessageDeflate: false, clientTracking: false });
}

function refuse(socket: Socket, status: string): void {
  socket.end(`HTTP/1.1 ${status}\r\nConnection: close\r\nContent-Length: 0\r\n\r\n`);
}

function urlOf(request: http.IncomingMessage): URL | undefined {
  try {
    return new URL(request.url, 'http://gateway');
  } catch {
    return undefined;
  }
}

// "::ffff:10.0.0.1" is an address of the older form.
function plain(address: string | undefined): string {
  return (address ?? '').replace(/^::ffff:/, '');
}

// Pages of other sites have no business here; what is no browser says no origin.
function isSameOrigin(request: http.IncomingMessage): boolean {
  const { origin, host } = request.headers;
  return origin === undefined || origin.replace(/^https?:\/\//, '') === host;
}

function canConnect(to: { host: string; port: number }): Promise<boolean> {
  return new Promise((resolve) => {
    const socket = connect({ ...to }, () => done(true));
    const done = (isThere: boolean) => {
      socket.destroy();
      resolve(isThere);
    };
    socket.setTimeout(3000, () => done(false));
    socket.on('error', () => done(false));
  });
}
