// One browser session: a WebSocket and its connection to the main port, byte for byte.

import { connect, type Socket } from 'node:net';
import { WebSocket } from 'ws';
import type { CodePage } from '@vnq/protocol';
import { LoginWatch } from './login_watch';
import type { Session, Tokens } from './tokens';

/** Close codes of the WebSocket; API.md tells what a client does at each. */
export const closing = {
  gatewayStops: 1001,
  refused: 1008,
  serverEnded: 1012,
  serverAway: 1013,
} as const;

export interface MainPort {
  readonly host: string;
  readonly port: number;
}

export interface BridgeEvents {
  up?(bytes: number): void;
  down?(bytes: number): void;
  proven?(session: Session): void;
  ended?(why: string): void;
}

// Of what one browser has not taken yet; above it the server's connection is not read.
const mostUnsent = 1 << 20;
const enoughUnsent = 1 << 18;

const connectWithinMs = 10_000;
const lastWordsMs = 2_000;
// Browsers connect when somebody presses the button.
const loginWithinMs = 60_000;

export class Bridge {
  readonly #socket: Socket;
  readonly #watch: LoginWatch;
  readonly #login: ReturnType<typeof setTimeout>;
  #session: Session | undefined;
  #connected = false;
  #paused = false;
  #ended = false;

  constructor(
    private readonly ws: WebSocket,
    mainPort: MainPort,
    page: CodePage | undefined,
    private readonly tokens: Tokens,
    private readonly events: BridgeEvents,
  ) {
    this.#watch = new LoginWatch(page);
    this.#login = setTimeout(() => this.end(closing.refused, 'nobody has logged in'), loginWithinMs);
    this.#socket = connect({ ...mainPort, allowHalfOpen: false });
    this.#socket.setNoDelay(true);
    this.#socket.setKeepAlive(true, 60_000);
    this.#listenToServer();
    this.#listenToBrowser();
  }

  /** Ends both sides. What the browser has sent still goes to the server. */
  end(code: number, reason: string): void {
    if (this.#ended) return;
    this.#ended = true;
    clearTimeout(this.#login);
    if (this.#session) this.tokens.close(this.#session.token);
    this.#socket.end();
    this.#socket.resume();
    this.#socket.setTimeout(lastWordsMs, () => this.#socket.destroy());
    this.ws.close(code, reason);
    this.events.ended?.(reason);
  }

  #listenToServer(): void {
    const socket = this.#socket;
    const tooSlow = setTimeout(() => this.#away('no answer'), connectWithinMs);
    socket.once('connect', () => {
      this.#connected = true;
      clearTimeout(tooSlow);
    });
    socket.on('data', (bytes: Uint8Array) => this.#toBrowser(bytes));
    socket.on('drain', () => this.ws.resume());
    socket.on('error', (error: Error & { code?: string }) => this.#away(error.code ?? 'error'));
    socket.once('close', () => {
      clearTimeout(tooSlow);
      this.#away('closed');
    });
  }

  #listenToBrowser(): void {
    this.ws.on('message', (data: Uint8Array, isBinary: boolean) => {
      if (isBinary) this.#toServer(data);
      else this.end(closing.refused, 'text frames are the gateway\'s own');
    });
    this.ws.on('error', () => this.end(closing.refused, 'bad frame'));
    this.ws.once('close', () => this.end(closing.gatewayStops, 'browser left'));
  }

  #away(why: string): void {
    if (this.#connected) this.end(closing.serverEnded, 'the server has ended the connection');
    else this.end(closing.serverAway, `the server cannot be reached (${why})`);
  }

  // The server takes a command at its word from whoever is connected, so who has not logged in may say nothing.
  #toServer(frame: Uint8Array): void {
    if (this.#ended || frame.length === 0) return;
    const isFirst = this.#watch.isFresh;
    if (!this.#session && !this.#watch.sent(frame)) {
      if (isFirst) return this.end(closing.refused, 'a log-in comes first');
      return this.end(closing.serverEnded, 'the log-in is not proven');
    }
    this.events.up?.(frame.length);
    if (!this.#socket.write(frame)) this.ws.pause();
  }

  #toBrowser(bytes: Uint8Array): void {
    if (this.#ended) return;
    this.events.down?.(bytes.length);
    this.ws.send(bytes, { binary: true }, () => this.#sent());
    const proven = this.#watch.received(bytes);
    if (proven) this.#grant(this.tokens.open(proven));
    if (this.ws.bufferedAmount > mostUnsent && !this.#paused) {
      this.#paused = true;
      this.#socket.pause();
    }
  }

  #sent(): void {
    if (!this.#paused || this.ws.bufferedAmount > enoughUnsent) return;
    this.#paused = false;
    this.#socket.resume();
  }

  #grant(session: Session): void {
    clearTimeout(this.#login);
    this.#session = session;
    const { user, device, token } = session;
    this.ws.send(JSON.stringify({ type: 'session', user, device, token }));
    this.events.proven?.(session);
  }
}
