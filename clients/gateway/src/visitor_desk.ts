// Visitors of web sites: who is here, what they say, what they are answered.

import type { WebSocket } from 'ws';
import type { CodePage, PeerMessage } from '@vnq/protocol';
import { AgentPresence } from './agent_presence';
import type { History } from './history';
import { networkOf, Pace, Paces } from './limits';
import type { Log } from './log';
import type { Metrics } from './metrics';
import type { MainPort } from './session';
import { VisitorLink } from './visitor_link';
import { localMoment, VisitorStore, type Conversation, type ConversationHead, type VisitorLine } from './visitor_store';

export interface DeskOptions {
  readonly mainPort: MainPort;
  readonly page: CodePage;
  readonly agents: readonly string[];
  readonly formWebhook: string | undefined;
  readonly store: VisitorStore;
  readonly history: History | undefined;
  readonly post: (url: string, value: unknown) => Promise<void>;
  readonly log: Log;
  readonly metrics: Metrics;
  readonly presenceEveryMs?: number;
  readonly lingerMs?: number;
}

const longestLine = 2000;
const longestField = 200;
const longestCity = 60;
const slowestRetryMs = 10_000;

type Frame = Record<string, unknown>;

interface MissedAnswers {
  readonly entries: readonly { readonly Msg_ID: string; readonly time: string; readonly from: string; readonly text: string }[];
}

function textOf(frame: Frame, key: string): string {
  const value = frame[key];
  return typeof value === 'string' ? value.trim() : '';
}

// A field of a record that people see beside the visitor's name.
function cityOf(frame: Frame): string {
  return textOf(frame, 'city').replace(/[|\r\n\u0000-\u001f]|\.\+/g, ' ').slice(0, longestCity);
}

class Visitor {
  readonly sockets = new Set<WebSocket>();
  readonly pace = new Pace(0.5, 15);
  link: VisitorLink | undefined;
  retryMs = 200;
  retry: ReturnType<typeof setTimeout> | undefined;
  leave: ReturnType<typeof setTimeout> | undefined;
  /** The agent who has answered last. */
  answeredBy: string | undefined;
  /** Lines that the server may not have, in order. */
  readonly unsent: VisitorLine[];
  isSending = false;

  constructor(
    readonly conversation: Conversation,
    readonly agents: readonly string[],
  ) {
    const { visitor, lines } = conversation;
    this.unsent = lines.filter(({ from, form, taken }) => from === visitor && !form && !taken);
  }

  get id(): string {
    return this.conversation.visitor;
  }

  tell(frame: unknown): void {
    for (const ws of this.sockets) ws.send(JSON.stringify(frame));
  }
}

export class VisitorDesk {
  readonly #visitors = new Map<string, Visitor>();
  readonly #presence: AgentPresence;
  readonly #newcomers = new Paces(1 / 60, 30);
  readonly #talkers = new Paces(1, 120);
  #asked: ReturnType<typeof setInterval> | undefined;
  #next = 0;

  constructor(private readonly options: DeskOptions) {
    this.#presence = new AgentPresence(options.history, options.agents);
    options.metrics.gauge('vnq_gateway_visitors', 'Visitors who are here.', () => this.#visitors.size);
  }

  get size(): number {
    return this.#visitors.size;
  }

  // --- for agents

  of(agent: string): unknown[] {
    return this.options.store
      .all()
      .filter(({ agents, last }) => agents.includes(agent) && last !== undefined)
      .sort((a, b) => (lastTime(a) < lastTime(b) ? 1 : -1))
      .map(({ visitor, name, city, last, count }) => ({
        id: visitor,
        name,
        city,
        here: (this.#visitors.get(visitor)?.sockets.size ?? 0) > 0,
        last: last && shown(last),
        lines: count,
      }));
  }

  conversation(visitor: string, agent: string): unknown | undefined | false {
    const found = this.options.store.find(visitor);
    if (!found) return undefined;
    if (!found.agents.includes(agent)) return false;
    return { id: visitor, name: found.name, city: found.city, lines: found.lines.map(shown) };
  }

  // --- for visitors

  /** Takes a visitor's WebSocket; the first frame must be a hello. */
  receive(ws: WebSocket, address: string): void {
    const from = networkOf(address);
    const flood = new Pace(5, 40);
    const silent = setTimeout(() => ws.close(1008, 'no hello'), 10_000);
    let welcome: Promise<Visitor | undefined> | undefined;
    ws.on('message', (data: Uint8Array, isBinary: boolean) => {
      const frame = isBinary ? undefined : parse(data.toString());
      if (!frame || !flood.take()) return ws.close(1008, frame ? 'too many frames' : 'not a JSON object');
      clearTimeout(silent);
      if ((frame.type === 'hello') === (welcome !== undefined)) return ws.close(1008, 'a hello comes first, and once');
      if (!welcome) welcome = this.#safely(ws, this.#welcome(ws, frame, from));
      else void welcome.then((visitor) => visitor && this.#safely(ws, this.#handle(visitor, ws, frame, from)));
    });
    ws.on('error', () => ws.terminate());
    ws.once('close', () => {
      clearTimeout(silent);
      for (const each of this.#visitors.values()) if (each.sockets.delete(ws)) this.#left(each);
    });
  }

  // Nothing that a visitor sends, and no full disk, may end the process for everybody.
  async #safely<T>(ws: WebSocket, work: Promise<T>): Promise<T | undefined> {
    try {
      return await work;
    } catch (error) {
      this.options.log.error('visitor_failed', { why: (error as Error).message });
      ws.close(1011, 'the gateway has failed');
      return undefined;
    }
  }

  /** Ends all connections; conversations are kept. */
  stop(): void {
    if (this.#asked) clearInterval(this.#asked);
    for (const visitor of this.#visitors.values()) this.#drop(visitor);
    this.#visitors.clear();
  }

  async #welcome(ws: WebSocket, frame: Frame, from: string): Promise<Visitor | undefined> {
    const { store, agents } = this.options;
    const named = Array.isArray(frame.agents) ? frame.agents.map(String) : [];
    const offered = named.filter((agent) => agents.includes(agent));
    if (named.length > 0 && offered.length === 0) {
      ws.close(1008, 'these agents take no visitors');
      return undefined;
    }
    const isKnown = store.isProven(frame.id, frame.key) && !store.isFull(frame.id);
    if (!isKnown && !this.#newcomers.take(from)) {
      ws.close(1013, 'too many new visitors from this address');
      return undefined;
    }
    const id = isKnown ? (frame.id as string) : store.invite().id;
    const visitor = this.#visitorOf(id, offered.length > 0 ? offered : agents, cityOf(frame));
    visitor.sockets.add(ws);
    await this.#askPresence();
    if (!this.#asked) this.#asked = setInterval(() => void this.#askPresence(), this.options.presenceEveryMs ?? 5000);
    await this.#takeMissed(visitor);
    const lines = visitor.conversation.lines.map((line) => this.#lineFor(visitor, line));
    ws.send(JSON.stringify({ type: 'welcome', id, key: store.keyOf(id), present: this.#presentAgent(visitor) !== undefined, lines }));
    return visitor;
  }

  #visitorOf(id: string, agents: readonly string[], city: string): Visitor {
    let visitor = this.#visitors.get(id);
    if (!visitor) {
      visitor = new Visitor(this.options.store.begin(id, agents, city), agents);
      this.#visitors.set(id, visitor);
      this.#connect(visitor);
    }
    if (visitor.leave) clearTimeout(visitor.leave);
    return visitor;
  }

  async #handle(visitor: Visitor, ws: WebSocket, frame: Frame, from: string): Promise<void> {
    const ref = textOf(frame, 'ref').slice(0, 64);
    const refuse = (why: string) => ws.send(JSON.stringify({ type: 'refused', ref, why }));
    const text = textOf(frame, 'text');
    if (frame.type !== 'line' && frame.type !== 'leave') return ws.close(1008, 'there is no such frame');
    const known = ref === '' ? undefined : this.options.store.lineOf(visitor.conversation, { ref });
    if (known) return this.#again(visitor, ws, known);
    if (text === '') return refuse('empty');
    if (text.length > longestLine) return refuse('too_long');
    if (!visitor.pace.take() || !this.#talkers.take(from)) return refuse('too_many');
    if (this.options.store.isFull(visitor.id)) return refuse('too_many');
    if (frame.type === 'leave') return this.#leaveForm(visitor, ws, frame, ref, text, refuse);
    if (this.#presentAgent(visitor) === undefined) return refuse('nobody');
    const line = this.#newLine(visitor, ref, text);
    if (!this.options.store.add(visitor.id, line)) return;
    this.options.metrics.count('vnq_gateway_visitor_lines_total', 'Lines of visitors.');
    visitor.unsent.push(line);
    void this.#sendOn(visitor);
  }

  // The gateway keeps a line before the server has it; a ref that comes again is told of once more.
  #again(visitor: Visitor, ws: WebSocket, line: VisitorLine): void {
    if (!visitor.unsent.includes(line)) ws.send(JSON.stringify({ type: 'taken', ref: line.ref, id: line.id }));
  }

  #newLine(visitor: Visitor, ref: string, text: string, form?: boolean): VisitorLine {
    const id = `${visitor.id}-${Date.now().toString(36)}-${this.#next++}`;
    const line = { id, time: localMoment(new Date()), from: visitor.id, text };
    return { ...line, ...(ref === '' ? {} : { ref }), ...(form ? { form } : {}) };
  }

  // --- lines on their way to an agent

  async #sendOn(visitor: Visitor): Promise<void> {
    if (visitor.isSending) return;
    visitor.isSending = true;
    try {
      while (visitor.unsent.length > 0 && visitor.link?.isUp) {
        const [line] = visitor.unsent;
        const agent = this.#presentAgent(visitor) ?? visitor.agents[0];
        if (!(await visitor.link.say(agent, line.text))) break;
        visitor.unsent.shift();
        visitor.tell({ type: 'taken', ref: line.ref, id: line.id });
        this.options.store.take(visitor.id, line);
      }
    } catch (error) {
      this.options.log.error('visitor_failed', { why: (error as Error).message });
    } finally {
      visitor.isSending = false;
    }
  }

  #connect(visitor: Visitor): void {
    const { mainPort, page } = this.options;
    const link = new VisitorLink(mainPort, page, { visitor: visitor.id, agents: visitor.agents, city: visitor.conversation.city });
    visitor.link = link;
    link.once('up', () => {
      visitor.retryMs = 200;
      void this.#sendOn(visitor);
      void this.#takeMissed(visitor);
    });
    link.on('message', (message: PeerMessage) => this.#answered(visitor, message));
    link.once('down', () => this.#connectLater(visitor));
  }

  #connectLater(visitor: Visitor): void {
    visitor.link = undefined;
    if (!this.#visitors.has(visitor.id)) return;
    visitor.retry = setTimeout(() => this.#connect(visitor), visitor.retryMs);
    visitor.retryMs = Math.min(visitor.retryMs * 2, slowestRetryMs);
  }

  // The page may only be loading anew.
  #left(visitor: Visitor): void {
    if (visitor.sockets.size > 0) return;
    visitor.leave = setTimeout(() => {
      if (visitor.sockets.size > 0) return;
      // What was said while the server was away is still to be sent.
      if (visitor.unsent.length > 0) return this.#left(visitor);
      this.#visitors.delete(visitor.id);
      this.#drop(visitor);
    }, this.options.lingerMs ?? 60_000);
  }

  #drop(visitor: Visitor): void {
    if (visitor.retry) clearTimeout(visitor.retry);
    if (visitor.leave) clearTimeout(visitor.leave);
    visitor.link?.removeAllListeners('down');
    visitor.link?.end();
    this.options.store.close(visitor.id);
  }

  // --- answers

  #answered(visitor: Visitor, message: PeerMessage): void {
    if (message.isOwn || message.userId === visitor.id) return;
    const { id, date, time, userId, text } = message;
    try {
      this.#takeAnswer(visitor, { id, time: `${date} ${time}`, from: userId, text });
    } catch (error) {
      // It stays unread at the server, and is asked for again.
      this.options.log.error('visitor_failed', { why: (error as Error).message });
      return;
    }
    void this.#markRead(visitor, [id]);
  }

  #takeAnswer(visitor: Visitor, line: VisitorLine): void {
    if (!this.options.store.add(visitor.id, line)) return;
    visitor.answeredBy = line.from;
    this.options.metrics.count('vnq_gateway_visitor_answers_total', 'Answers to visitors.');
    visitor.tell({ type: 'line', ...this.#lineFor(visitor, line) });
  }

  // What agents have answered while no connection was there.
  async #takeMissed(visitor: Visitor): Promise<void> {
    const { history } = this.options;
    if (!history) return;
    try {
      const { entries } = await history.ask<MissedAnswers>({ do: 'unread', user: visitor.id, device: 'desktop', limit: 500 });
      for (const { Msg_ID, time, from, text } of entries) {
        this.#takeAnswer(visitor, { id: Msg_ID, time, from, text });
      }
      await this.#markRead(visitor, entries.map(({ Msg_ID }) => Msg_ID));
    } catch (error) {
      this.options.log.warning('visitor_history', { why: (error as Error).message });
    }
  }

  async #markRead(visitor: Visitor, ids: string[]): Promise<void> {
    const entries = ids.map((Msg_ID) => ({ kind: 'message', Msg_ID, to: visitor.id }));
    if (entries.length === 0) return;
    await this.options.history?.ask({ do: 'read', user: visitor.id, device: 'desktop', entries }).catch(() => undefined);
  }

  #lineFor(visitor: Visitor, line: VisitorLine): Frame {
    const name = line.from === visitor.id ? '' : this.#presence.nameOf(line.from);
    return { id: line.id, from: line.from === visitor.id ? 'you' : line.from, name, text: line.text, time: line.time, ref: line.ref };
  }

  // --- presence

  // Who has answered goes on; else the first who is there.
  #presentAgent(visitor: Visitor): string | undefined {
    const isThere = (agent: string) => this.#presence.isThere(agent);
    const { answeredBy } = visitor;
    if (answeredBy !== undefined && visitor.agents.includes(answeredBy) && isThere(answeredBy)) return answeredBy;
    return visitor.agents.find(isThere);
  }

  async #askPresence(): Promise<void> {
    if (this.#visitors.size === 0) return;
    const before = new Map([...this.#visitors.values()].map((each) => [each, this.#presentAgent(each) !== undefined]));
    await this.#presence.ask();
    for (const [visitor, was] of before) {
      const present = this.#presentAgent(visitor) !== undefined;
      if (present !== was) visitor.tell({ type: 'presence', present });
    }
  }

  // --- the form

  async #leaveForm(visitor: Visitor, ws: WebSocket, frame: Frame, ref: string, text: string, refuse: (why: string) => void): Promise<void> {
    const name = textOf(frame, 'name').replace(/[\u0000-\u001f\u007f-\u009f]+/g, ' ').slice(0, longestField);
    const contact = textOf(frame, 'contact').slice(0, longestField);
    const whole = [name, contact, text].filter((each) => each !== '').join('\n');
    const line = this.#newLine(visitor, ref, whole, true);
    try {
      await this.#handForm(visitor, { name, contact, text, whole });
    } catch (error) {
      this.options.log.error('form_not_stored', { why: (error as Error).message });
      return refuse('unstored');
    }
    this.options.store.add(visitor.id, line);
    if (name !== '') this.options.store.call(visitor.id, name);
    this.options.metrics.count('vnq_gateway_forms_total', 'Forms of visitors who found nobody.');
    ws.send(JSON.stringify({ type: 'taken', ref, id: line.id }));
  }

  async #handForm(visitor: Visitor, form: { name: string; contact: string; text: string; whole: string }): Promise<void> {
    const { formWebhook, history, post } = this.options;
    const { name, contact, text, whole } = form;
    if (formWebhook) {
      await post(formWebhook, { visitor: visitor.id, agents: visitor.agents, city: visitor.conversation.city, name, contact, text });
    } else if (history) {
      await history.ask({ do: 'leave', for: visitor.agents[0], visitor: visitor.id, name: name || visitor.conversation.city, text: whole });
    } else {
      throw new Error('neither a webhook nor a history');
    }
  }
}

function parse(text: string): Frame | undefined {
  try {
    const value = JSON.parse(text);
    return typeof value === 'object' && value !== null && !Array.isArray(value) ? value : undefined;
  } catch {
    return undefined;
  }
}

function lastTime({ last }: ConversationHead): string {
  return last?.time ?? '';
}

function shown({ id, time, from, text, form }: VisitorLine): unknown {
  return { id, time, from, text, ...(form ? { form } : {}) };
}
