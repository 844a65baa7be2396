// Who is behind a connection to the main port, by the server's own log-in.
//
//   browser   one frame: `.+landing|name|password|address|...|#` and nothing else
//   server    `.+SuccessfulConnection|#`, then `.+landing_successful|UserID|...`
//
// What a client sends later can make the server pass on texts that it chose, and a record that looks
// like an answer may stand in one. So the proof is only in the very first bytes: the greeting, and
// right behind it an answer to the first frame. Every text of the server begins with a word of its
// own, and a text is a whole number of Base64 groups, so nothing but the answer can stand there.
// Where anything else does, nobody is proven, and the client connects anew.

import { base64Decode, base64Encode, type CodePage } from '@vnq/protocol';

export type Device = 'desktop' | 'mobile';
export interface Proven {
  readonly user: string;
  readonly device: Device;
}

const latin1 = (bytes: Uint8Array) => Buffer.from(bytes).toString('latin1');

const greeting = base64Encode(Buffer.from('.+SuccessfulConnection|#'));
const answer = '.+landing_successful|';

// Far more than the answer's first field; behind it no answer comes.
const mostBytes = 4096;

export class LoginWatch {
  #sent: 'nothing' | 'login' | 'more' = 'nothing';
  #isDecided = false;
  #device: Device = 'desktop';
  #received = '';

  /** @param page the server's code page; a page that is not known reads as single bytes */
  constructor(private readonly page: Pick<CodePage, 'fromBytes'> | undefined) {}

  /** True while no frame has come. */
  get isFresh(): boolean {
    return this.#sent === 'nothing';
  }

  /** A frame wants to the server. True for a log-in that comes first: nothing else may, before somebody is proven. */
  sent(frame: Uint8Array): boolean {
    const device = this.isFresh ? this.#deviceOf(frame) : undefined;
    this.#sent = device ? 'login' : 'more';
    if (device) this.#device = device;
    return device !== undefined;
  }

  /** Bytes have come from the server; who is proven by them, once. */
  received(bytes: Uint8Array): Proven | undefined {
    if (this.#isDecided || this.#sent === 'more') return undefined;
    this.#received += latin1(bytes);
    const user = this.#user();
    if (user === undefined) return undefined;
    this.#isDecided = true;
    this.#received = '';
    return this.#sent === 'login' && user !== '' ? { user, device: this.#device } : undefined;
  }

  // The user of the answer; "" when something else has come, nothing while it is not decided.
  #user(): string | undefined {
    const text = this.#received;
    const expected = greeting.slice(0, text.length);
    if (!text.startsWith(expected)) return '';
    if (text.length <= greeting.length) return undefined;
    const bytes = base64Decode(text.slice(greeting.length));
    const read = latin1(bytes);
    if (!read.startsWith(answer.slice(0, read.length))) return '';
    const end = read.indexOf('|', answer.length);
    if (end < 0) return text.length < mostBytes ? undefined : '';
    return this.#text(bytes.slice(answer.length, end));
  }

  #deviceOf(frame: Uint8Array): Device | undefined {
    const record = this.#text(base64Decode(latin1(frame))).replace(/[\r\n]/g, '');
    if (!record.startsWith('.+landing|') || record.includes('.+', 2)) return undefined;
    return record.split('|')[3]?.length === 1 ? 'mobile' : 'desktop';
  }

  #text(bytes: Uint8Array): string {
    return this.page ? this.page.fromBytes(bytes) : latin1(bytes);
  }
}
