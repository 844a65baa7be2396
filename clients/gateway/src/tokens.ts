// The sessions that may ask for history: a token each, for a user and a device that are proven.

import { randomBytes } from 'node:crypto';
import { Pace } from './limits';
import type { Proven } from './login_watch';

export interface Session extends Proven {
  readonly token: string;
  /** How fast it may ask. */
  readonly pace: Pace;
}

const afterMs = 60_000;

export class Tokens {
  readonly #sessions = new Map<string, Session>();
  readonly #ending = new Map<string, ReturnType<typeof setTimeout>>();

  constructor(private readonly lingerMs = afterMs) {}

  get size(): number {
    return this.#sessions.size;
  }

  open(proven: Proven): Session {
    const token = randomBytes(24).toString('base64url');
    const session = { ...proven, token, pace: new Pace(20, 100) };
    this.#sessions.set(token, session);
    return session;
  }

  /** The connection has ended; the token dies a little later, so that a reload loses nothing. */
  close(token: string): void {
    if (!this.#sessions.has(token) || this.#ending.has(token)) return;
    this.#ending.set(token, setTimeout(() => this.#forget(token), this.lingerMs));
  }

  /** The live session of a header `Bearer <token>`. */
  find(authorization: string | undefined): Session | undefined {
    const token = /^Bearer ([\w-]+)$/.exec(authorization ?? '')?.[1];
    return token === undefined ? undefined : this.#sessions.get(token);
  }

  stop(): void {
    for (const timer of this.#ending.values()) clearTimeout(timer);
    this.#ending.clear();
    this.#sessions.clear();
  }

  #forget(token: string): void {
    this.#sessions.delete(token);
    this.#ending.delete(token);
  }
}
