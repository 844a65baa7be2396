// How much one address, or one session, may ask for.

/** At most so many at one time, by key. */
export class Places {
  readonly #taken = new Map<string, number>();

  constructor(private readonly most: number) {}

  /** False when all places of the key are taken. */
  take(key: string): boolean {
    const taken = this.#taken.get(key) ?? 0;
    if (taken >= this.most) return false;
    this.#taken.set(key, taken + 1);
    return true;
  }

  give(key: string): void {
    const taken = (this.#taken.get(key) ?? 1) - 1;
    if (taken > 0) this.#taken.set(key, taken);
    else this.#taken.delete(key);
  }
}

/** So many a second on average, with `burst` at once. */
export class Pace {
  #left: number;
  #at: number;

  constructor(
    private readonly aSecond: number,
    private readonly burst: number,
    private readonly now: () => number = Date.now,
  ) {
    this.#left = burst;
    this.#at = now();
  }

  /** False when it is too fast. */
  take(): boolean {
    const now = this.now();
    this.#left = Math.min(this.burst, this.#left + ((now - this.#at) / 1000) * this.aSecond);
    this.#at = now;
    if (this.#left < 1) return false;
    this.#left -= 1;
    return true;
  }

  /** True when nothing of the burst is in use. */
  get isRested(): boolean {
    return this.#left + ((this.now() - this.#at) / 1000) * this.aSecond >= this.burst;
  }
}

/** A pace for each key. Keys that have rested are forgotten. */
export class Paces {
  readonly #paces = new Map<string, Pace>();

  constructor(
    private readonly aSecond: number,
    private readonly burst: number,
    private readonly now: () => number = Date.now,
  ) {}

  take(key: string): boolean {
    if (this.#paces.size > 10_000) this.#forget();
    let pace = this.#paces.get(key);
    if (!pace) this.#paces.set(key, (pace = new Pace(this.aSecond, this.burst, this.now)));
    return pace.take();
  }

  #forget(): void {
    for (const [key, pace] of this.#paces) if (pace.isRested) this.#paces.delete(key);
  }
}
