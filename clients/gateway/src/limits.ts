// How much one address, or one session, may ask for.

import { isIP } from 'node:net';

/**
 * What an address is counted by: itself, and of IPv6 its network of 64 bits, all of which one household has.
 *
 * @param address as Node gives it, of IPv6 without a zone
 */
export function networkOf(address: string): string {
  if (isIP(address) !== 6) return address;
  const [front, back] = address.split('::');
  const groups = front === '' ? [] : front.split(':');
  const rest = back === undefined || back === '' ? [] : back.split(':');
  const zeros = back === undefined ? 0 : 8 - groups.length - rest.length;
  const all = [...groups, ...Array<string>(zeros).fill('0'), ...rest];
  return `${all.slice(0, 4).map((group) => group.replace(/^0+(?=.)/, '')).join(':')}::/64`;
}

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
