// A visitor on the main port: announced with `.+customer`, so that the port counts the connection as
// the visitor's and an agent's answer comes back on it.

import { EventEmitter } from 'node:events';
import { connect, type Socket } from 'node:net';
import { encodeForMainPort, escapeText, fieldText, parseRecord, RecordStream, type CodePage, type PeerMessage } from '@vnq/protocol';
import type { MainPort } from './session';

export interface Announcement {
  readonly visitor: string;
  readonly agents: readonly string[];
  readonly city: string;
}

const keepAlive = '.+y|#';
// Between the texts of a long line, so that each is one read of the server.
const partPauseMs = 15;
// A record without an end mark is whole when nothing more has come for so long.
const silenceMs = 60;
const answerWithinMs = 10_000;

interface Handover {
  resolve(isTaken: boolean): void;
  readonly timer: ReturnType<typeof setTimeout>;
}

/**
 * Events: 'up' once the visitor is announced; 'message' (a PeerMessage); 'down' when the connection has
 * ended or never came.
 */
export class VisitorLink extends EventEmitter {
  readonly #socket: Socket;
  readonly #stream: RecordStream;
  readonly #handovers: Handover[] = [];
  readonly #texts: Uint8Array[] = [];
  #silence: ReturnType<typeof setTimeout> | undefined;
  #sending = false;
  #greeted = false;
  #ended = false;

  constructor(
    mainPort: MainPort,
    private readonly page: CodePage,
    private readonly who: Announcement,
  ) {
    super();
    this.#stream = new RecordStream(page);
    this.#socket = connect({ ...mainPort });
    this.#socket.setNoDelay(true);
    this.#socket.setTimeout(answerWithinMs, () => !this.#greeted && this.end());
    this.#socket.on('data', (bytes: Uint8Array) => this.#take(bytes));
    this.#socket.on('error', () => undefined);
    this.#socket.once('close', () => this.end());
  }

  get isUp(): boolean {
    return this.#greeted && !this.#ended;
  }

  /** Sends a line to an agent. True once the server has worked it off; false when that is not known. */
  say(agent: string, text: string): Promise<boolean> {
    if (!this.isUp) return Promise.resolve(false);
    const { visitor, city } = this.who;
    // The server answers a keep-alive behind the line, and it works records off in their order.
    this.#send(`.+customer_information|${agent}|${visitor}|${fieldText(city)}|${escapeText(text)}|#`, keepAlive);
    return new Promise((resolve) => {
      const timer = setTimeout(() => this.end(), answerWithinMs);
      this.#handovers.push({ resolve, timer });
    });
  }

  end(): void {
    if (this.#ended) return;
    this.#ended = true;
    if (this.#silence) clearTimeout(this.#silence);
    this.#socket.destroy();
    for (const { resolve, timer } of this.#handovers.splice(0)) {
      clearTimeout(timer);
      resolve(false);
    }
    this.emit('down');
  }

  #take(bytes: Uint8Array): void {
    for (const record of this.#stream.feed(bytes)) this.#handle(record);
    if (this.#silence) clearTimeout(this.#silence);
    if (this.#stream.restLooksComplete) {
      for (const record of this.#stream.takeRest()) this.#handle(record);
    } else if (this.#stream.hasRest) {
      this.#silence = setTimeout(() => this.#stream.takeRest().forEach((each) => this.#handle(each)), silenceMs);
    }
  }

  #handle(text: string): void {
    const record = parseRecord(text);
    if (record?.type === 'greeting') this.#announce();
    else if (record?.type === 'keepAlive') this.#handedOver();
    else if (record?.type === 'message') this.emit('message', record as PeerMessage);
    else if (record?.type === 'replaced' || record?.type === 'disconnected') this.end();
  }

  #announce(): void {
    if (this.#greeted) return;
    this.#greeted = true;
    const { visitor, agents, city } = this.who;
    this.#send(`.+customer|${agents.join(',')}|${visitor}|${fieldText(city)}||#`);
    this.emit('up');
  }

  #handedOver(): void {
    const handover = this.#handovers.shift();
    if (!handover) return;
    clearTimeout(handover.timer);
    handover.resolve(true);
  }

  #send(...records: string[]): void {
    this.#texts.push(...encodeForMainPort(this.page, records));
    if (!this.#sending) this.#sendNext();
  }

  #sendNext(): void {
    const text = this.#texts.shift();
    this.#sending = text !== undefined && !this.#ended;
    if (text === undefined || this.#ended) return;
    this.#socket.write(text, () => setTimeout(() => this.#sendNext(), this.#texts.length > 0 ? partPauseMs : 0));
  }
}
