// What came while a client was not there: brought after each log-in, and not brought again once it was handed out.

import type { Incoming } from '@vnq/protocol';
import { abortError } from './emitter';

/** What is delivered once and may have waited: what a history can bring again. */
export type Delivery = Extract<Incoming, { type: 'message' | 'groupMessage' | 'notice' | 'file' | 'verify' }>;

/** Knows what a user's device has not had: `Gateway` is one. */
export interface CatchUp {
  /**
   * What the device has not had, oldest first, page by page. Asking for the next page, or for the end, says that all of
   * the page before has been handed out.
   */
  missed(signal: AbortSignal): AsyncIterable<readonly Delivery[]>;
  /** These have come live and been handed out: missed() is not to bring them. */
  handedOut?(deliveries: readonly Delivery[]): Promise<void>;
}

/** One run through what was missed. It rejects when a page does not come in time, and when end() is called. */
export class CatchingUp {
  readonly #over = new AbortController();

  async run(source: CatchUp, pageWithinMs: number, handOut: (delivery: Delivery) => void): Promise<void> {
    const { signal } = this.#over;
    const pages = source.missed(signal)[Symbol.asyncIterator]();
    for (;;) {
      const page = await this.#within(pages.next(), pageWithinMs);
      if (page.done) return;
      page.value.forEach(handOut);
    }
  }

  end(why: Error): void {
    this.#over.abort(why);
  }

  #within<T>(page: Promise<T>, ms: number): Promise<T> {
    const { signal } = this.#over;
    const late = new Error(`the history did not answer within ${ms} ms`);
    const timer = setTimeout(() => this.#over.abort(late), ms);
    const ended = new Promise<never>((_, reject) => {
      const onAbort = () => reject(abortError(signal));
      if (signal.aborted) onAbort();
      else signal.addEventListener('abort', onAbort, { once: true });
    });
    return Promise.race([page, ended]).finally(() => clearTimeout(timer));
  }
}

const mostAtOnce = 500;

/** Tells the source what came live, several at a time. */
export class LiveMarks {
  #waiting: Delivery[] = [];
  #timer?: ReturnType<typeof setTimeout>;

  constructor(
    private readonly source: CatchUp | undefined,
    private readonly everyMs: number,
    private readonly trouble: (error: Error) => void,
  ) {}

  add(delivery: Delivery): void {
    if (!this.source?.handedOut) return;
    this.#waiting.push(delivery);
    this.#timer ??= setTimeout(() => void this.flush(), this.everyMs);
  }

  /** Never rejects. What cannot be told is brought again after the next log-in, and is known then. */
  async flush(): Promise<void> {
    clearTimeout(this.#timer);
    this.#timer = undefined;
    while (this.#waiting.length > 0) {
      try {
        await this.source?.handedOut?.(this.#waiting.splice(0, mostAtOnce));
      } catch (error) {
        this.trouble(error as Error);
      }
    }
  }
}
