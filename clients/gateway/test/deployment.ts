// A server with the sample accounts and a gateway beside it, on loopback addresses of their own.

import { execFileSync, spawn, type ChildProcess } from 'node:child_process';
import { once } from 'node:events';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { request as httpRequest } from 'node:http';
import { createServer, type Socket } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after } from 'node:test';
import { WebSocket } from 'ws';
import { base64Encode, encodeForMainPort, openCodePage, outgoing, RecordStream, type CodePage } from '@vnq/protocol';
import { Gateway } from '../src/gateway';
import { Log } from '../src/log';
import { readOptions } from '../src/options';

export const programs = process.env.VNQ_PROGRAMS ?? '';
export const sample = {
  alice: { id: '1', password: 'alice-pw-1' },
  ben: { id: '2', password: 'ben-pw-2' },
  carol: { id: '3', password: 'carol-pw-3' },
  wangfang: { id: '4', password: 'wangfang-pw-4' },
} as const;
export type SampleUser = keyof typeof sample;

let deployments = 0;

// A test that fails leaves nothing running, which would keep the whole run from ending.
const running = new Set<Deployment>();
after(async () => {
  for (const each of [...running]) await each.stop();
});

/** Waits until a condition holds; throws with `what` after a time. */
export async function until(condition: () => unknown, what: string, ms = 30_000): Promise<void> {
  const deadline = Date.now() + ms;
  while (!(await condition())) {
    if (Date.now() > deadline) throw new Error(`waited ${ms} ms in vain for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

/** What a server says first, and to a log-in that it grants. */
export const greeting = base64Encode(Buffer.from('.+SuccessfulConnection|#'));
export const granted = base64Encode(Buffer.from('.+landing_successful|1|0||0|1|#'));

export interface Answer {
  readonly status: number;
  readonly headers: Record<string, string | undefined>;
  readonly text: string;
  readonly json: any;
}

export class Deployment {
  readonly address = `127.78.${process.pid % 250}.${1 + ((Math.floor(process.pid / 250) + 40 * deployments++) % 250)}`;
  readonly folder = mkdtempSync(join(tmpdir(), 'vnq_gateway_'));
  readonly logged: any[] = [];
  server: ChildProcess | undefined;
  fake: Flood | undefined;
  gateway!: Gateway;
  page!: CodePage;
  port = 0;
  readonly #sockets: { close(): void }[] = [];

  async start(...flags: string[]): Promise<this> {
    this.init();
    await this.startServer();
    await this.startGateway(...flags);
    return this;
  }

  /** Makes the folder; with VNQ_TEST_POSTGRES=ADDRESS:PORT its database is a new one there. */
  init(): void {
    running.add(this);
    const postgres = process.env.VNQ_TEST_POSTGRES;
    if (postgres) this.#useDatabaseAt(...(postgres.split(':') as [string, string]));
    execFileSync(join(programs, 'vnqctl'), ['init', '--app-path', this.folder, '--demo'], { stdio: 'ignore' });
  }

  #useDatabaseAt(host: string, port: string): void {
    const name = `vnq_web_${process.pid}_${deployments}`;
    execFileSync('psql', ['-q', '-h', host, '-p', port, '-U', 'vnq', '-d', 'postgres', '-c', `create database ${name}`]);
    mkdirSync(join(this.folder, 'Web/Data'), { recursive: true });
    writeFileSync(join(this.folder, 'platform.ini'), '[locale]\nlanguage_id=1033\ncode_page=936\n[database]\ndriver=postgresql\n');
    const settings = { DB_TYPE: 'server', DataBaseIp: '127.0.0.1', DB_SERVER: host, DB_PORT: port, DB_NAME: name, DB_USER: 'vnq', DB_PWD: '' };
    const lines = Object.entries(settings).map(([key, value]) => `${key}=${value}\n`);
    writeFileSync(join(this.folder, 'Web/Data/DataBase.ini'), `[server_connection]\n${lines.join('')}`);
  }

  async startServer(): Promise<void> {
    const args = ['--app-path', this.folder, '--bind', this.address];
    const server = spawn(join(programs, 'vnq_main_service'), args, { stdio: ['ignore', 'ignore', 'pipe'] });
    let said = '';
    server.stderr.on('data', (text: Uint8Array) => (said += text.toString()));
    this.server = server;
    await until(() => /\bready\b/.test(said) || server.exitCode !== null, `ready in ${said}`);
  }

  /** A gateway before something that grants every log-in, and writes so many bytes to whoever comes. */
  async startWithFakeServer(bytes: number): Promise<this> {
    running.add(this);
    this.fake = new Flood(bytes);
    const port = await this.fake.listen(this.address);
    await this.startGateway('--server', `${this.address}:${port}`);
    return this;
  }

  async endServer(signal = 'SIGTERM'): Promise<void> {
    const server = this.server;
    if (!server || server.exitCode !== null || server.signalCode !== null) return;
    const ended = once(server, 'exit');
    server.kill(signal);
    await ended;
  }

  startGateway(...flags: string[]): Promise<void> {
    const history = ['--app-path', this.folder, '--vnqctl', join(programs, 'vnqctl')];
    return this.startGatewayWithoutHistory(...history, ...flags);
  }

  /** A gateway with just these settings, which may be those of HTTPS. */
  async startBare(...flags: string[]): Promise<void> {
    const all = ['--listen', `${this.address}:0`, '--server', `${this.address}:6004`];
    const options = readOptions([...all, ...flags]);
    this.gateway = new Gateway(options, new Log((line) => this.logged.push(JSON.parse(line))));
    this.port = (await this.gateway.start()).port;
  }

  async startGatewayWithoutHistory(...flags: string[]): Promise<void> {
    await this.startBare(...flags);
    this.page = await openCodePage((await this.get('/api/config')).json.codePage);
  }

  /** How many records wait for the desktop of a user. */
  parked(user: string): number {
    return this.#ask({ do: 'requests', user }).requests.length;
  }

  /** What the desktop of a user has not had. */
  unread(user: string): { text: string }[] {
    return this.#ask({ do: 'unread', user, limit: 500 }).entries;
  }

  #ask(request: object): any {
    const args = ['history', '--serve', '--app-path', this.folder];
    const input = `${JSON.stringify({ id: 1, ...request })}\n`;
    return JSON.parse(execFileSync(join(programs, 'vnqctl'), args, { input }).toString()).result;
  }

  async stop(): Promise<void> {
    running.delete(this);
    for (const socket of this.#sockets) socket.close();
    await this.gateway?.stop();
    await this.endServer();
    this.fake?.close();
    rmSync(this.folder, { recursive: true, force: true });
  }

  get(path: string, headers: Record<string, string> = {}, method = 'GET', body?: string): Promise<Answer> {
    return new Promise((resolve, reject) => {
      const options = { host: this.address, port: this.port, path, method, headers };
      const asked = httpRequest(`http://${this.address}:${this.port}`, options, (response) => {
        let text = '';
        response.setEncoding('utf8');
        response.on('data', (part: string) => (text += part));
        response.on('end', () => {
          const isJson = response.headers['content-type']?.startsWith('application/json');
          resolve({ status: response.statusCode ?? 0, headers: response.headers, text, json: isJson && text ? JSON.parse(text) : undefined });
        });
      });
      asked.on('error', reject);
      asked.end(body);
    });
  }

  open(path: string, headers: Record<string, string> = {}): Wire {
    const wire = new Wire(new WebSocket(`ws://${this.address}:${this.port}${path}`, { headers }), this.page);
    this.#sockets.push(wire);
    return wire;
  }

  /** A browser that has logged in at a server that only seems to be one. */
  async loggedInAtFake(): Promise<Wire> {
    const wire = this.open('/ws');
    await wire.saw('.+SuccessfulConnection');
    wire.send(outgoing.landing({ user: 'alice', password: 'x' }));
    await until(() => wire.texts.length > 0, 'the session');
    return wire;
  }

  /** A browser that has logged in and is visible. */
  async login(user: SampleUser, machineId = 'web'): Promise<User> {
    const wire = this.open('/ws');
    await wire.saw('.+SuccessfulConnection');
    wire.send(outgoing.landing({ user, password: sample[user].password, localAddress: '10.0.0.9', machineId }));
    await until(() => wire.texts.length > 0, `the session of ${user}; records: ${wire.records.join(' ')}`);
    wire.send(`.+successful_online|${sample[user].id}|1|#`);
    await wire.saw('.+SynchronousSuccessfully');
    return new User(this, wire, wire.texts[0].token, sample[user].id);
  }
}

class Flood {
  readonly #server = createServer((socket) => this.#pour(socket));
  readonly #part = Buffer.alloc(1 << 16);
  #left: number;
  #written = 0;
  #waits = false;
  #waitsSince = 0;
  #socket: Socket | undefined;

  constructor(bytes: number) {
    this.#left = bytes;
  }

  async listen(host: string): Promise<number> {
    this.#server.listen(0, host);
    await once(this.#server, 'listening');
    return (this.#server.address() as { port: number }).port;
  }

  /** True when nothing more has been taken for a while. */
  isHeldBack(): boolean {
    return this.#waits && Date.now() - this.#waitsSince > 500;
  }

  written(): number {
    return this.#written;
  }

  close(): void {
    this.#socket?.destroy();
    this.#server.close();
  }

  set readsNothing(isSo: boolean) {
    if (isSo) this.#socket?.pause();
    else this.#socket?.resume();
  }

  #pour(socket: Socket): void {
    this.#socket = socket;
    if (this.#left === 0) socket.write(greeting);
    socket.once('data', () => socket.write(granted));
    socket.on('data', () => undefined);
    socket.on('error', () => undefined);
    socket.on('drain', () => this.#more(socket));
    this.#more(socket);
  }

  #more(socket: Socket): void {
    this.#waits = false;
    while (this.#left > 0 && !this.#waits) {
      this.#left -= this.#part.length;
      this.#written += this.#part.length;
      this.#waits = !socket.write(this.#part);
    }
    this.#waitsSince = Date.now();
  }
}

/** A WebSocket with what it has received. */
export class Wire {
  readonly records: string[] = [];
  readonly texts: any[] = [];
  readonly frames: Uint8Array[] = [];
  closed: { code: number; reason: string } | undefined;
  readonly #stream: RecordStream;

  constructor(readonly ws: WebSocket, private readonly page: CodePage) {
    this.#stream = new RecordStream(page);
    ws.on('error', () => undefined);
    ws.on('close', (code: number, reason: Uint8Array) => (this.closed = { code, reason: reason.toString() }));
    ws.on('message', (data: Uint8Array, isBinary: boolean) => {
      if (isBinary) this.#takeFrame(data);
      else this.texts.push(JSON.parse(data.toString()));
    });
  }

  send(...records: string[]): void {
    for (const text of encodeForMainPort(this.page, records)) this.ws.send(text, { binary: true });
  }

  say(frame: unknown): void {
    this.ws.send(JSON.stringify(frame));
  }

  saw(words: string): Promise<void> {
    return until(() => this.records.some((each) => each.includes(words)), `${words} among ${this.records.join(' ')} ${JSON.stringify(this.closed)}`);
  }

  async heard(type: string, count = 1): Promise<any> {
    const those = () => this.texts.filter((each) => each.type === type);
    await until(() => those().length >= count, `${count} ${type} among ${JSON.stringify(this.texts)} ${JSON.stringify(this.closed)}`);
    return those()[count - 1];
  }

  opened(): Promise<void> {
    return until(() => this.ws.readyState === WebSocket.OPEN, 'an open WebSocket');
  }

  async ended(): Promise<{ code: number; reason: string }> {
    await until(() => this.closed, 'the end of a WebSocket');
    return this.closed!;
  }

  close(): void {
    this.ws.terminate();
  }

  #takeFrame(frame: Uint8Array): void {
    this.frames.push(frame);
    this.records.push(...this.#stream.feed(frame));
    if (this.#stream.restLooksComplete) this.records.push(...this.#stream.takeRest());
  }
}

/** A user who has logged in. */
export class User {
  constructor(
    private readonly deployment: Deployment,
    readonly wire: Wire,
    readonly token: string,
    readonly id: string,
  ) {}

  get(path: string): Promise<Answer> {
    return this.deployment.get(path, { Authorization: `Bearer ${this.token}` });
  }

  post(path: string, body: unknown): Promise<Answer> {
    const text = typeof body === 'string' ? body : JSON.stringify(body);
    return this.deployment.get(path, { Authorization: `Bearer ${this.token}` }, 'POST', text);
  }

  async write(to: string, text: string, id: string): Promise<void> {
    this.wire.send(outgoing.message({ target: to, sender: this.id, text, id }));
    await this.wire.saw(`.+reply|1|${to}|${id}|`);
  }
}
