// One connection to the main port: records in, records out, at the pace that the port takes.

import { CodePage, encodeForMainPort, RecordStream } from '@vnq/protocol';
import type { Connector, Transport } from './transport';

/** Waits, in milliseconds. */
export interface Timing {
  /** Each step of the log-in. */
  readonly loginStep: number;
  /** Between two keep-alives, and for the echo of one. */
  readonly keepAlive: number;
  readonly echo: number;
  /** Between two texts: each is to be one read of the server. */
  readonly betweenTexts: number;
  /** Silence that ends a record, one that ends in "|#" and one that does not. */
  readonly quiet: number;
  readonly quietUnclosed: number;
  /** The first wait for a receipt; it doubles with each try. */
  readonly receipt: number;
  /** For a page of what was missed; the session begins without it then. */
  readonly catchUp: number;
  /** Between two tellings of what came live and was handed out. */
  readonly marks: number;
  /** The first and the longest wait before a connection is made again. */
  readonly reconnectFirst: number;
  readonly reconnectLongest: number;
}

export const defaultTiming: Timing = {
  loginStep: 15_000,
  keepAlive: 30_000,
  echo: 20_000,
  betweenTexts: 25,
  quiet: 40,
  quietUnclosed: 400,
  receipt: 10_000,
  catchUp: 30_000,
  marks: 500,
  reconnectFirst: 500,
  reconnectLongest: 30_000,
};

export interface ConnectionHandlers {
  onRecord(record: string): void;
  onText(text: string): void;
  onClose(why: string): void;
}

export class Connection {
  readonly #stream: RecordStream;
  #transport!: Transport;
  #isOpen = false;
  #waiting: string[] = [];
  #texts: Uint8Array[] = [];
  #pace?: ReturnType<typeof setTimeout>;
  #quiet?: ReturnType<typeof setTimeout>;

  private constructor(
    private readonly page: CodePage,
    private readonly timing: Timing,
    private readonly handlers: ConnectionHandlers,
  ) {
    this.#stream = new RecordStream(page);
  }

  static async open(
    connector: Connector,
    page: CodePage,
    timing: Timing,
    handlers: ConnectionHandlers,
    signal: AbortSignal,
  ): Promise<Connection> {
    const connection = new Connection(page, timing, handlers);
    // Bytes may come before the promise is looked at.
    connection.#isOpen = true;
    connection.#transport = await connector(
      {
        onBytes: (bytes) => connection.#onBytes(bytes),
        onText: (text) => connection.#isOpen && handlers.onText(text),
        onClose: (why) => connection.#onClose(why),
      },
      signal,
    );
    return connection;
  }

  get localAddress(): string {
    return this.#transport.localAddress;
  }

  get givesSession(): boolean {
    return this.#transport.givesSession === true;
  }

  /** Sends records in order; small ones that wait at one time share a text. */
  send(...records: string[]): void {
    if (!this.#isOpen) return;
    this.#waiting.push(...records);
    if (this.#pace === undefined) this.#sendNext();
  }

  /** Ends the connection without a word; onClose is not called. */
  close(): void {
    if (!this.#isOpen) return;
    this.#end();
    this.#transport.close();
  }

  #sendNext(): void {
    this.#pace = undefined;
    if (this.#texts.length === 0) {
      this.#texts = encodeForMainPort(this.page, this.#waiting);
      this.#waiting = [];
    }
    const text = this.#texts.shift();
    if (!text) return;
    this.#transport.send(text);
    this.#pace = setTimeout(() => this.#sendNext(), this.timing.betweenTexts);
  }

  #onBytes(bytes: Uint8Array): void {
    if (!this.#isOpen) return;
    clearTimeout(this.#quiet);
    this.#hand(this.#stream.feed(bytes));
    if (!this.#stream.hasRest || !this.#isOpen) return;
    const { quiet, quietUnclosed } = this.timing;
    const wait = this.#stream.restLooksComplete ? quiet : quietUnclosed;
    this.#quiet = setTimeout(() => this.#hand(this.#stream.takeRest()), wait);
  }

  #onClose(why: string): void {
    if (!this.#isOpen) return;
    this.#hand(this.#stream.takeRest());
    if (!this.#isOpen) return;
    this.#end();
    this.handlers.onClose(why);
  }

  #hand(records: string[]): void {
    for (const record of records) {
      if (this.#isOpen) this.handlers.onRecord(record);
    }
  }

  #end(): void {
    this.#isOpen = false;
    clearTimeout(this.#pace);
    clearTimeout(this.#quiet);
  }
}
