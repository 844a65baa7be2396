// One log-in on one connection: greeting, log-in, visibility, keep-alive. Knows nothing of what the
// records mean beyond that.

import { CodePage, Incoming, outgoing, parseRecord, Presence } from '@vnq/protocol';
import { Connection, Timing } from './connection';
import { ConnectionError, LoginError } from './errors';
import type { Connector } from './transport';

export interface Identity {
  readonly user: string;
  readonly password: string;
  /** What a role's restriction to machines compares. */
  readonly machineId: string;
  /** "phone" logs in beside the user's desktop. */
  readonly device: 'desktop' | 'phone';
  /** A phone's letter, push identifier and maker. */
  readonly platform?: string;
  readonly pushId?: string;
  readonly manufacturer?: string;
  readonly version?: number;
}

/** How a session has ended. */
export type SessionEnd =
  | { readonly kind: 'lost'; readonly why: string }
  | { readonly kind: 'serverEnds'; readonly why: string }
  /** The gateway could not tell for sure who has logged in, because other news came in between. */
  | { readonly kind: 'unproven'; readonly why: string }
  | { readonly kind: 'replaced'; readonly why: string }
  | { readonly kind: 'disconnected'; readonly why: string }
  | { readonly kind: 'refused'; readonly why: string; readonly error: LoginError };

export type LoggedIn = Extract<Incoming, { type: 'loggedIn' }>;

export interface SessionHandlers {
  onLoggedIn(who: LoggedIn): void;
  onReady(): void;
  onRecord(incoming: Incoming, record: string): void;
  onText(text: string): void;
  /** The last that is heard of the session. */
  onEnd(end: SessionEnd): void;
}

export class Session {
  #connection?: Connection;
  #step: 'greeting' | 'landing' | 'reporting' | 'ready' | 'over' = 'greeting';
  #timer?: ReturnType<typeof setTimeout>;
  #who?: LoggedIn;
  #isProven = false;

  private constructor(
    private readonly identity: Identity,
    private readonly presence: Presence,
    private readonly timing: Timing,
    private readonly handlers: SessionHandlers,
  ) {}

  static async open(
    connector: Connector,
    page: CodePage,
    identity: Identity,
    presence: Presence,
    timing: Timing,
    handlers: SessionHandlers,
    signal: AbortSignal,
  ): Promise<Session> {
    const session = new Session(identity, presence, timing, handlers);
    const toConnection = {
      onRecord: (record: string) => session.#onRecord(record),
      onText: (text: string) => {
        session.#isProven = true;
        handlers.onText(text);
      },
      onClose: (why: string) => session.#end({ kind: session.#isUnproven ? 'unproven' : 'lost', why }),
    };
    session.#connection = await Connection.open(connector, page, timing, toConnection, signal);
    session.#waitForStep();
    return session;
  }

  send(...records: string[]): void {
    this.#connection?.send(...records);
  }

  /** Ends it without a word; onEnd is not called. */
  close(): void {
    this.#step = 'over';
    clearTimeout(this.#timer);
    this.#connection?.close();
  }

  #onRecord(record: string): void {
    if (this.#step === 'over') return;
    const incoming = parseRecord(record);
    if (this.#step === 'ready') this.#waitForKeepAlive();
    switch (incoming.type) {
      case 'greeting':
        return this.#greet();
      case 'loggedIn':
        return this.#land(incoming);
      case 'visible':
        return this.#becomeReady();
      case 'refused': {
        const error = new LoginError(incoming.reason);
        return this.#end({ kind: 'refused', why: error.message, error });
      }
      case 'replaced':
        return this.#end({ kind: 'replaced', why: incoming.by });
      case 'disconnected':
        return this.#end({ kind: 'disconnected', why: incoming.reason });
      case 'serverEnds':
        return this.#end({ kind: 'serverEnds', why: incoming.text });
      case 'keepAlive':
        return;
      default:
        this.handlers.onRecord(incoming, record);
    }
  }

  #greet(): void {
    if (this.#step !== 'greeting') return;
    this.#step = 'landing';
    this.#waitForStep();
    const { device, platform, ...rest } = this.identity;
    const own = { localAddress: this.#connection?.localAddress || '0.0.0.0' };
    const kind = device === 'phone' ? { platform: platform ?? '1' } : own;
    try {
      this.send(outgoing.landing({ ...rest, ...kind }));
    } catch (error) {
      this.#end({ kind: 'refused', why: (error as Error).message, error: new LoginError('credentials') });
    }
  }

  #land(who: LoggedIn): void {
    if (this.#step !== 'landing') return;
    this.#step = 'reporting';
    this.#who = who;
    this.#waitForStep();
    this.handlers.onLoggedIn(who);
    this.send(outgoing.successfulOnline(who.userId, this.presence));
  }

  #becomeReady(): void {
    if (this.#step !== 'reporting') return;
    this.#step = 'ready';
    this.#waitForKeepAlive();
    this.handlers.onReady();
  }

  // The server has granted the log-in, and the gateway has not seen it.
  get #isUnproven(): boolean {
    return this.#step === 'reporting' && this.#connection?.givesSession === true && !this.#isProven;
  }

  #waitForStep(): void {
    clearTimeout(this.#timer);
    const late = () => this.#end({ kind: 'lost', why: 'the server does not answer the log-in' });
    this.#timer = setTimeout(late, this.timing.loginStep);
  }

  // Any record shows that the server is there; silence is asked about.
  #waitForKeepAlive(): void {
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => {
      const late = () => this.#end({ kind: 'lost', why: 'the server does not answer any more' });
      this.#timer = setTimeout(late, this.timing.echo);
      this.send(outgoing.keepAlive());
    }, this.timing.keepAlive);
  }

  #end(end: SessionEnd): void {
    if (this.#step === 'over') return;
    this.close();
    this.handlers.onEnd(end);
  }

  get userId(): string {
    if (!this.#who) throw new ConnectionError('nobody is logged in');
    return this.#who.userId;
  }
}
