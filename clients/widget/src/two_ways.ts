// The gateway's road: JSON frames on a WebSocket. What is not taken when the connection ends goes
// again with the same ref, which the gateway knows.

import type { Form, Refused, Road, RoadEvents } from './road';

export interface TwoWaysSettings {
  readonly url: string;
  readonly agents: readonly string[];
  readonly city: string;
  readonly language: string;
  readonly storage: Storage | undefined;
}

interface LineFrame {
  readonly type: 'line';
  readonly id: string;
  readonly ref?: string;
  readonly from: string;
  readonly name: string;
  readonly text: string;
}

interface WelcomeFrame {
  readonly type: 'welcome';
  readonly id: string;
  readonly key: string;
  readonly present: boolean;
  readonly lines: readonly LineFrame[];
}

/** What the gateway says. */
type Frame =
  | WelcomeFrame
  | LineFrame
  | { readonly type: 'presence'; readonly present: boolean }
  | { readonly type: 'taken'; readonly ref: string }
  | { readonly type: 'refused'; readonly ref: string; readonly why: Refused };

const storageKey = 'vnq-visitor';
const firstRetryMs = 500;
const longestRetryMs = 20_000;

export class TwoWays implements Road {
  readonly isTwoWay = true;
  readonly #waiting = new Map<string, string>();
  #socket: WebSocket | undefined;
  #retryMs = firstRetryMs;
  #timer: ReturnType<typeof setTimeout> | undefined;
  #welcomed = false;
  #stopped = false;

  constructor(
    private readonly settings: TwoWaysSettings,
    private readonly events: RoadEvents,
  ) {}

  start(): void {
    this.#welcomed = false;
    const socket = new WebSocket(this.settings.url);
    this.#socket = socket;
    this.events.state('connecting');
    socket.onopen = () => this.#hello();
    socket.onmessage = ({ data }) => this.#take(JSON.parse(data));
    socket.onclose = ({ code }) => this.#lost(code);
  }

  send(ref: string, text: string): void {
    this.#hand(ref, { type: 'line', ref, text });
  }

  leave(ref: string, form: Form): void {
    this.#hand(ref, { type: 'leave', ref, ...form });
  }

  stop(): void {
    this.#stopped = true;
    if (this.#timer) clearTimeout(this.#timer);
    this.#socket?.close();
  }

  #hand(ref: string, frame: unknown): void {
    const text = JSON.stringify(frame);
    this.#waiting.set(ref, text);
    if (this.#welcomed) this.#socket?.send(text);
  }

  #hello(): void {
    const { agents, city, language } = this.settings;
    this.#socket?.send(JSON.stringify({ type: 'hello', agents, city, language, ...this.#identity() }));
  }

  #take(frame: Frame): void {
    if (frame.type === 'welcome') this.#welcome(frame);
    else if (frame.type === 'presence') this.events.state(frame.present ? 'here' : 'away');
    else if (frame.type === 'line') this.#line(frame);
    else if (frame.type === 'taken') this.#done(frame.ref, () => this.events.taken(frame.ref));
    else if (frame.type === 'refused') this.#done(frame.ref, () => this.events.refused(frame.ref, frame.why));
  }

  #welcome({ id, key, present, lines }: WelcomeFrame): void {
    this.#welcomed = true;
    this.#retryMs = firstRetryMs;
    this.#keepIdentity({ id, key });
    for (const line of lines) this.#line(line);
    this.events.state(present ? 'here' : 'away');
    for (const text of this.#waiting.values()) this.#socket?.send(text);
  }

  #line({ id, ref, from, name, text }: LineFrame): void {
    this.events.line({ id, ref, isOwn: from === 'you', name, text });
  }

  #done(ref: string, then: () => void): void {
    this.#waiting.delete(ref);
    then();
  }

  // 1008: the gateway does not want this page, and will not next time.
  #lost(code: number): void {
    if (this.#stopped) return;
    this.#welcomed = false;
    if (code === 1008) return this.events.state('refused');
    this.events.state('lost');
    this.#timer = setTimeout(() => this.start(), this.#retryMs);
    this.#retryMs = Math.min(this.#retryMs * 2, longestRetryMs);
  }

  #identity(): { id?: string; key?: string } {
    try {
      return JSON.parse(this.settings.storage?.getItem(storageKey) ?? '{}');
    } catch {
      return {};
    }
  }

  #keepIdentity(identity: unknown): void {
    try {
      this.settings.storage?.setItem(storageKey, JSON.stringify(identity));
    } catch {
      // A browser that keeps nothing makes a new visitor of each page.
    }
  }
}
