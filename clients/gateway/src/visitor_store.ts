// Conversations of visitors, a file each: what was said both ways, and which agents may read it.
//
//   DIR/web-5f0c2a9e1b7d4433.jsonl    lines of JSON: {"visitor","agents","city","name"} first and
//                                     whenever it changes, then a line of the conversation each, and
//                                     {"taken":id} once the server has a visitor's line
//   DIR/secret                        proves that an id was given by this gateway

import { createHmac, randomBytes, timingSafeEqual } from 'node:crypto';
import { appendFileSync, existsSync, mkdirSync, readdirSync, readFileSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

export interface VisitorLine {
  /** Of an answer its Msg_ID; else made here. */
  readonly id: string;
  /** The visitor's own mark, by which a line that was sent twice is known. */
  readonly ref?: string;
  readonly time: string;
  /** The visitor's id, or the UserID of the agent. */
  readonly from: string;
  readonly text: string;
  readonly form?: boolean;
  /** Of a visitor's line: the server has had it. */
  taken?: boolean;
}

/** What is known of a conversation while nobody reads it. */
export interface ConversationHead {
  readonly visitor: string;
  agents: string[];
  city: string;
  /** What the visitor has put into a form; empty before. */
  name: string;
  last: VisitorLine | undefined;
  count: number;
}

export interface Conversation extends ConversationHead {
  readonly lines: VisitorLine[];
}

/** Of one conversation, so that nobody fills the memory; who comes back with so many is a new visitor. */
export const mostLines = 1000;

const idForm = /^web-[0-9a-f]{16}$/;
const dayMs = 86_400_000;

/** "YYYY-MM-DD hh:mm:ss" in the machine's time zone, as the server writes it. */
export function localMoment(date: Date): string {
  const two = (value: number) => String(value).padStart(2, '0');
  const day = [date.getFullYear(), two(date.getMonth() + 1), two(date.getDate())].join('-');
  return `${day} ${[date.getHours(), date.getMinutes(), date.getSeconds()].map(two).join(':')}`;
}

export class VisitorStore {
  readonly #heads = new Map<string, ConversationHead>();
  /** Those of visitors who are here, with their lines. */
  readonly #open = new Map<string, Conversation>();
  readonly #secret: Uint8Array;

  /** Makes the folder where it is missing. Throws when it cannot be read or written. */
  constructor(
    private readonly folder: string,
    private readonly days: number,
  ) {
    mkdirSync(folder, { recursive: true });
    this.#secret = this.#readSecret();
    this.sweep();
    for (const visitor of this.#visitors()) {
      const conversation = this.#load(visitor);
      if (conversation) this.#heads.set(visitor, headOf(conversation));
    }
  }

  /** A new visitor's id and the key that proves it. */
  invite(): { id: string; key: string } {
    const id = `web-${randomBytes(8).toString('hex')}`;
    return { id, key: this.#keyOf(id) };
  }

  isProven(id: unknown, key: unknown): id is string {
    if (typeof id !== 'string' || typeof key !== 'string' || !idForm.test(id)) return false;
    const wanted = Buffer.from(this.#keyOf(id));
    const given = Buffer.from(key);
    return wanted.length === given.length && timingSafeEqual(wanted, given);
  }

  keyOf(id: string): string {
    return this.#keyOf(id);
  }

  /** The conversation, begun where there is none; who may read it and where from is brought up to date. */
  begin(visitor: string, agents: readonly string[], city: string): Conversation {
    const known = this.find(visitor);
    const all = [...new Set([...(known?.agents ?? []), ...agents])];
    const isSame = known && known.agents.length === all.length && known.city === city;
    const conversation = known ?? { visitor, agents: all, city, name: '', last: undefined, count: 0, lines: [] };
    conversation.agents = all;
    conversation.city = city;
    if (!isSame) this.#appendHead(conversation);
    this.#open.set(visitor, conversation);
    this.#heads.set(visitor, conversation);
    return conversation;
  }

  /** The visitor is not here any more. */
  close(visitor: string): void {
    const conversation = this.#open.get(visitor);
    if (!conversation) return;
    this.#open.delete(visitor);
    this.#heads.set(visitor, headOf(conversation));
  }

  /** The visitor has told a name. */
  call(visitor: string, name: string): void {
    const conversation = this.#open.get(visitor);
    if (!conversation || conversation.name === name) return;
    conversation.name = name;
    this.#appendHead(conversation);
  }

  find(visitor: string): Conversation | undefined {
    return this.#open.get(visitor) ?? (this.#heads.has(visitor) ? this.#load(visitor) : undefined);
  }

  isFull(visitor: string): boolean {
    return (this.#heads.get(visitor)?.count ?? 0) >= mostLines;
  }

  /** Keeps a line of a conversation that is begun. False when it is there already, by its id or its ref. */
  add(visitor: string, line: VisitorLine): boolean {
    const conversation = this.#open.get(visitor);
    if (!conversation || this.lineOf(conversation, line)) return false;
    this.#append(visitor, line);
    conversation.lines.push(line);
    conversation.last = line;
    ++conversation.count;
    return true;
  }

  /** The server has had a visitor's line. */
  take(visitor: string, line: VisitorLine): void {
    line.taken = true;
    this.#append(visitor, { taken: line.id });
  }

  lineOf(conversation: Conversation, line: { id?: string; ref?: string }): VisitorLine | undefined {
    return conversation.lines.find(
      (each) => each.id === line.id || (line.ref !== undefined && each.ref === line.ref),
    );
  }

  all(): ConversationHead[] {
    return [...this.#heads.values()];
  }

  /** Drops what nobody has written to for too long. */
  sweep(now = Date.now()): void {
    for (const visitor of this.#visitors()) {
      if (now - statSync(this.#fileOf(visitor)).mtimeMs <= this.days * dayMs) continue;
      rmSync(this.#fileOf(visitor), { force: true });
      this.#heads.delete(visitor);
      this.#open.delete(visitor);
    }
  }

  #fileOf(visitor: string): string {
    return join(this.folder, `${visitor}.jsonl`);
  }

  #visitors(): string[] {
    const named = readdirSync(this.folder).filter((file) => file.endsWith('.jsonl'));
    return named.map((file) => file.slice(0, -'.jsonl'.length)).filter((visitor) => idForm.test(visitor));
  }

  #load(visitor: string): Conversation | undefined {
    if (!existsSync(this.#fileOf(visitor))) return undefined;
    let head: ConversationHead | undefined;
    const lines: VisitorLine[] = [];
    const file = readFileSync(this.#fileOf(visitor), 'utf8');
    // What a crash has cut off would swallow the line behind it.
    if (!file.endsWith('\n')) appendFileSync(this.#fileOf(visitor), '\n');
    for (const text of file.split('\n')) {
      const line = parsed(text);
      if (line?.visitor) {
        const { agents = [], city = '', name = '' } = line;
        head = { visitor, agents, city, name, last: undefined, count: 0 };
      } else if (line?.taken) {
        const known = lines.find((each) => each.id === line.taken);
        if (known) known.taken = true;
      } else if (line?.id) {
        lines.push(line as VisitorLine);
      }
    }
    return head && { ...head, lines, last: lines[lines.length - 1], count: lines.length };
  }

  #appendHead({ visitor, agents, city, name }: Conversation): void {
    this.#append(visitor, { visitor, agents, city, name });
  }

  #append(visitor: string, value: unknown): void {
    appendFileSync(this.#fileOf(visitor), `${JSON.stringify(value)}\n`);
  }

  #keyOf(id: string): string {
    return createHmac('sha256', this.#secret).update(id).digest('hex');
  }

  #readSecret(): Uint8Array {
    const file = join(this.folder, 'secret');
    if (!existsSync(file)) writeFileSync(file, randomBytes(32), { mode: 0o600 });
    return readFileSync(file);
  }
}

function headOf({ visitor, agents, city, name, last, count }: Conversation): ConversationHead {
  return { visitor, agents, city, name, last, count };
}

type FileLine = Partial<ConversationHead & Omit<VisitorLine, 'taken'> & { taken: string }>;

// A line that was cut off by a crash is no line.
function parsed(text: string): FileLine | undefined {
  try {
    return JSON.parse(text) as FileLine;
  } catch {
    return undefined;
  }
}
