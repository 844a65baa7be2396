// Messages that the server has not confirmed yet.

/** A message on its way. */
export interface OutboxItem {
  /** The same at each try: the server stores a message once, however often it comes. */
  readonly id: string;
  readonly kind: 'user' | 'group';
  readonly target: string;
  readonly text: string;
  readonly font?: string;
}

/** Where an outbox is kept between runs of a program. */
export interface OutboxStore {
  load(): readonly OutboxItem[];
  save(items: readonly OutboxItem[]): void;
}

/** Keeps nothing. */
export class MemoryOutbox implements OutboxStore {
  load(): readonly OutboxItem[] {
    return [];
  }
  save(): void {}
}

/** A browser's storage, under one key. */
export class StorageOutbox implements OutboxStore {
  constructor(
    private readonly storage: Pick<Storage, 'getItem' | 'setItem'>,
    private readonly key: string,
  ) {}

  load(): readonly OutboxItem[] {
    try {
      const items: unknown = JSON.parse(this.storage.getItem(this.key) ?? '[]');
      return Array.isArray(items) ? (items as OutboxItem[]) : [];
    } catch {
      return [];
    }
  }

  save(items: readonly OutboxItem[]): void {
    this.storage.setItem(this.key, JSON.stringify(items));
  }
}

interface Entry {
  readonly item: OutboxItem;
  settle?: { resolve(): void; reject(error: Error): void };
  sentAt?: number;
  tries: number;
}

/** The queue itself: oldest first, each until its receipt has come. */
export class Outbox {
  readonly #entries = new Map<string, Entry>();

  /** @param retryMs the wait for a receipt; it doubles with each try, up to eight times as long */
  constructor(private readonly store: OutboxStore, private readonly retryMs: number) {
    for (const item of store.load()) this.#entries.set(item.id, { item, tries: 0 });
  }

  get items(): OutboxItem[] {
    return [...this.#entries.values()].map(({ item }) => item);
  }

  /** Resolves with the receipt; rejects when the message is withdrawn. */
  add(item: OutboxItem): Promise<void> {
    return new Promise((resolve, reject) => {
      this.#entries.set(item.id, { item, tries: 0, settle: { resolve, reject } });
      this.#save();
    });
  }

  /** The receipt has come. False for a message that is not known. */
  confirm(id: string): boolean {
    return this.#take(id, (entry) => entry.settle?.resolve());
  }

  /** Gives a message up. It may have been sent already. */
  withdraw(id: string, why: Error): boolean {
    return this.#take(id, (entry) => entry.settle?.reject(why));
  }

  /** What is to be sent now, in order; it counts as sent from then on. */
  due(now: number): OutboxItem[] {
    const due = [...this.#entries.values()].filter(
      ({ sentAt, tries }) =>
        sentAt === undefined || now - sentAt >= this.retryMs * Math.min(2 ** (tries - 1), 8),
    );
    for (const entry of due) {
      entry.sentAt = now;
      ++entry.tries;
    }
    return due.map(({ item }) => item);
  }

  /** The connection is lost: everything is due again. */
  forgetTries(): void {
    for (const entry of this.#entries.values()) {
      entry.sentAt = undefined;
      entry.tries = 0;
    }
  }

  #take(id: string, then: (entry: Entry) => void): boolean {
    const entry = this.#entries.get(id);
    if (!entry) return false;
    this.#entries.delete(id);
    this.#save();
    then(entry);
    return true;
  }

  #save(): void {
    this.store.save(this.items);
  }
}
