// Events with types, and waiting for one.

/** Raised where a wait was cancelled by an AbortSignal. */
export function abortError(signal: AbortSignal): Error {
  const reason = (signal as { reason?: unknown }).reason;
  if (reason instanceof Error) return reason;
  const error = new Error('the operation was cancelled');
  error.name = 'AbortError';
  return error;
}

export interface WaitOptions {
  /** Ends the wait with an AbortError. */
  readonly signal?: AbortSignal;
  /** Ends the wait with an error after so many milliseconds. */
  readonly timeout?: number;
}

type Listener<T> = (value: T) => void;

/** `Events` maps the name of each event to what its listeners get. */
export class Emitter<Events> {
  readonly #listeners = new Map<keyof Events, Set<Listener<never>>>();

  /** Calls the listener at each event; the function that comes back ends that. */
  on<K extends keyof Events>(event: K, listener: Listener<Events[K]>): () => void {
    const listeners = this.#listeners.get(event) ?? new Set();
    this.#listeners.set(event, listeners);
    listeners.add(listener as Listener<never>);
    return () => this.off(event, listener);
  }

  off<K extends keyof Events>(event: K, listener: Listener<Events[K]>): void {
    this.#listeners.get(event)?.delete(listener as Listener<never>);
  }

  /** The next event, or the next for which `filter` holds. */
  next<K extends keyof Events>(
    event: K,
    filter: (value: Events[K]) => boolean = () => true,
    { signal, timeout }: WaitOptions = {},
  ): Promise<Events[K]> {
    return new Promise((resolve, reject) => {
      if (signal?.aborted) return reject(abortError(signal));
      const finish = (settle: () => void) => {
        stop();
        clearTimeout(timer);
        signal?.removeEventListener('abort', onAbort);
        settle();
      };
      const onAbort = () => finish(() => reject(abortError(signal!)));
      const stop = this.on(event, (value) => {
        if (filter(value)) finish(() => resolve(value));
      });
      signal?.addEventListener('abort', onAbort);
      const late = () => finish(() => reject(new Error(`no "${String(event)}" within ${timeout} ms`)));
      const timer = timeout === undefined ? undefined : setTimeout(late, timeout);
    });
  }

  /**
   * A listener that throws does not keep the others from being called; what it threw is raised
   * where nothing else can be harmed.
   */
  protected emit<K extends keyof Events>(event: K, value: Events[K]): void {
    for (const listener of [...(this.#listeners.get(event) ?? [])]) {
      try {
        (listener as Listener<Events[K]>)(value);
      } catch (error) {
        queueMicrotask(() => {
          throw error;
        });
      }
    }
  }
}
