// Histories, by a few `vnqctl history --serve` beside the gateway: a JSON object a line each way.
//
// The rules about what is unread, for whom and on which device are those of that program; here is
// nothing but the asking.

import { spawn, type ChildProcess } from 'node:child_process';
import { createInterface } from 'node:readline';
import type { Details, Log } from './log';

/** A request that was refused, or that could not be carried out. */
export class HistoryError extends Error {
  override name = 'HistoryError';
  constructor(
    readonly kind: 'bad_request' | 'not_found' | 'not_allowed' | 'database',
    message: string,
  ) {
    super(message);
  }
}

export interface HistoryRequest {
  readonly do: string;
  readonly [key: string]: unknown;
}

export interface HistoryOptions {
  readonly vnqctl: string;
  readonly appPath: string;
  readonly processes: number;
}

interface Waiting {
  resolve(result: unknown): void;
  reject(error: Error): void;
}

/** An answer: a refusal has a kind and an error, anything else a result. */
interface Answer {
  readonly id: number;
  readonly result?: unknown;
  readonly kind?: HistoryError['kind'];
  readonly error?: string;
}

const answerWithinMs = 30_000;
const mostWaiting = 2000;
const slowestRestartMs = 10_000;

class Reader {
  readonly waiting = new Map<number, Waiting>();
  #child: ChildProcess | undefined;
  #next = 1;
  #restartMs = 100;
  #timer: ReturnType<typeof setTimeout> | undefined;
  #due: ReturnType<typeof setTimeout> | undefined;
  #stopped = false;
  #lastWords = '';

  constructor(
    private readonly options: HistoryOptions,
    private readonly log: Log,
    private readonly withinMs: number,
  ) {
    this.#start();
  }

  get isThere(): boolean {
    return this.#child !== undefined;
  }

  ask(request: HistoryRequest): Promise<unknown> {
    const child = this.#child;
    if (!child) return Promise.reject(new HistoryError('database', 'the history reader is not running'));
    const id = this.#next++;
    return new Promise((resolve, reject) => {
      this.waiting.set(id, { resolve, reject });
      if (this.waiting.size === 1) this.#watch();
      child.stdin.write(`${JSON.stringify({ ...request, id })}\n`);
    });
  }

  stop(): void {
    this.#stopped = true;
    if (this.#timer) clearTimeout(this.#timer);
    if (this.#due) clearTimeout(this.#due);
    this.#child?.stdin.end();
  }

  #start(): void {
    const { vnqctl, appPath } = this.options;
    const child = spawn(vnqctl, ['history', '--serve', '--app-path', appPath], {
      stdio: ['pipe', 'pipe', 'pipe'],
    });
    this.#child = child;
    child.stdin.on('error', () => undefined);
    child.stderr.on('data', (text: Uint8Array) => {
      this.#lastWords = text.toString().trim().slice(-500);
    });
    child.once('error', (error: Error) => this.#ended(child, error.message));
    child.once('close', (code: number | null) => this.#ended(child, this.#lastWords || `code ${code}`));
    void this.#read(child);
  }

  async #read(child: ChildProcess): Promise<void> {
    for await (const line of createInterface({ input: child.stdout })) this.#take(line);
  }

  #take(line: string): void {
    const answer = parsed(line);
    if (!answer) return this.#giveUp('history_reader_babbles', {});
    const waiting = this.waiting.get(answer.id);
    if (!waiting) return;
    this.waiting.delete(answer.id);
    this.#watch();
    this.#restartMs = 100;
    if (answer.kind) waiting.reject(new HistoryError(answer.kind, answer.error ?? ''));
    else waiting.resolve(answer.result);
  }

  // It answers in order: each answer is due so long after the one before it.
  #watch(): void {
    if (this.#due) clearTimeout(this.#due);
    this.#due = this.waiting.size === 0 ? undefined : setTimeout(() => this.#giveUp('history_reader_hangs', { ms: this.withinMs }), this.withinMs);
  }

  #giveUp(event: string, details: Details): void {
    this.log.error(event, details);
    this.#child?.kill('SIGKILL');
  }

  #ended(child: ChildProcess, why: string): void {
    if (this.#child !== child) return;
    this.#child = undefined;
    for (const { reject } of this.waiting.values()) {
      reject(new HistoryError('database', 'the history reader has ended'));
    }
    this.waiting.clear();
    this.#watch();
    if (this.#stopped) return;
    this.log.warning('history_reader_ended', { why, again_ms: this.#restartMs });
    this.#timer = setTimeout(() => this.#start(), this.#restartMs);
    this.#restartMs = Math.min(this.#restartMs * 2, slowestRestartMs);
  }
}

function parsed(line: string): Answer | undefined {
  try {
    return JSON.parse(line) as Answer;
  } catch {
    return undefined;
  }
}

export class History {
  readonly #readers: Reader[] = [];

  constructor(options: HistoryOptions, log: Log, withinMs = answerWithinMs) {
    for (let i = 0; i < options.processes; ++i) this.#readers.push(new Reader(options, log, withinMs));
  }

  get isThere(): boolean {
    return this.#readers.some((reader) => reader.isThere);
  }

  get waiting(): number {
    return this.#readers.reduce((sum, reader) => sum + reader.waiting.size, 0);
  }

  /** Asks the reader with the least to do, whose result has the shape that docs/history.md gives. Rejects with a HistoryError. */
  ask<Result = unknown>(request: HistoryRequest): Promise<Result> {
    if (this.waiting >= mostWaiting) {
      return Promise.reject(new HistoryError('database', 'too many requests are waiting'));
    }
    const there = this.#readers.filter((reader) => reader.isThere);
    const [least] = (there.length > 0 ? there : this.#readers).sort(
      (a, b) => a.waiting.size - b.waiting.size,
    );
    return least.ask(request) as Promise<Result>;
  }

  stop(): void {
    for (const reader of this.#readers) reader.stop();
  }
}
