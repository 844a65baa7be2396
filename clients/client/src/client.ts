// A person's, or a program's, presence at the server: logs in, stays, and sends until a receipt comes.

import {
  deliveryKey,
  Incoming,
  openCodePage,
  outgoing,
  OutgoingNotice,
  Presence,
  Profile,
} from '@vnq/protocol';
import { CatchingUp, LiveMarks, type CatchUp, type Delivery } from './catch_up';
import {
  identityOf,
  type ClientEvents,
  type ClientOptions,
  type ClientState,
  type LoginOptions,
  type OfType,
  type SendOptions,
} from './client_options';
import { defaultTiming, Timing } from './connection';
import { abortError, Emitter } from './emitter';
import { ConnectionError } from './errors';
import { Friends } from './friends';
import { Groups } from './groups';
import { Meetings } from './meetings';
import { newMessageId, SeenKeys } from './identifiers';
import { MemoryOutbox, Outbox, OutboxItem } from './outbox';
import { LoggedIn, Session, SessionEnd } from './session';

// At a log-in; then it is no chance any more.
const mostUnproven = 6;

export class Client extends Emitter<ClientEvents> {
  readonly groups: Groups;
  readonly friends: Friends;
  readonly meetings: Meetings;

  readonly #options: ClientOptions;
  readonly #timing: Timing;
  readonly #outbox: Outbox;
  readonly #seen = new SeenKeys();
  #state: ClientState = 'closed';
  #session?: Session;
  #who?: LoggedIn;
  #presence: Presence;
  #attempts = 0;
  #stop?: AbortController;
  #retry?: ReturnType<typeof setTimeout>;
  #receipts?: ReturnType<typeof setInterval>;
  readonly #requests: OfType<'verify'>[] = [];
  readonly #liveMarks: LiveMarks;
  #catchingUp?: CatchingUp;
  #heldBack: { incoming: Incoming; record: string }[] = [];
  #everReady = false;
  #isLeaving = false;

  constructor(options: ClientOptions) {
    super();
    this.#options = options;
    this.#timing = { ...defaultTiming, ...options.timing };
    this.#outbox = new Outbox(options.outbox ?? new MemoryOutbox(), this.#timing.receipt);
    this.#presence = options.presence ?? 'online';
    this.#liveMarks = new LiveMarks(options.catchUp, this.#timing.marks, (error) => this.emit('trouble', error));
    this.groups = new Groups(this);
    this.friends = new Friends(this);
    this.meetings = new Meetings(this);
  }

  get state(): ClientState {
    return this.#state;
  }

  /** The UserID; empty before the first log-in. */
  get userId(): string {
    return this.#who?.userId ?? '';
  }

  /** What the server has said at the log-in. */
  get who(): LoggedIn | undefined {
    return this.#who;
  }

  /** Messages that the server has not confirmed, oldest first. */
  get unconfirmed(): readonly OutboxItem[] {
    return this.#outbox.items;
  }

  /**
   * Logs in and stays: a connection that is lost is made again, until logout() or close(), or until
   * the session is ended for good.
   *
   * Rejects with a LoginError when the server refuses, with a ConnectionError when it cannot be
   * reached, with an AbortError when the signal says so; then nothing goes on.
   */
  async login({ signal, keepTrying = false }: LoginOptions = {}): Promise<LoggedIn> {
    if (this.#stop) throw new ConnectionError('there is a session already');
    if (signal?.aborted) throw abortError(signal);
    const stop = new AbortController();
    this.#stop = stop;
    this.#everReady = false;
    this.#isLeaving = false;
    this.#attempts = 0;
    return new Promise<LoggedIn>((resolve, reject) => {
      const finish = (settle: () => void) => {
        stopListening.forEach((off) => off());
        signal?.removeEventListener('abort', onAbort);
        stop.signal.removeEventListener('abort', onClosed);
        settle();
      };
      const fail = (error: Error) =>
        finish(() => {
          this.close();
          reject(error);
        });
      const onAbort = () => fail(abortError(signal!));
      const onClosed = () => finish(() => reject(new ConnectionError('the client was closed')));
      const stopListening = [
        this.on('ready', () => finish(() => resolve(this.#who!))),
        this.on('ended', (end) => {
          const goesOn = keepTrying || (end.kind === 'unproven' && this.#attempts < mostUnproven);
          if (end.kind === 'refused') fail(end.error);
          else if (end.retryIn === undefined || !goesOn) fail(new ConnectionError(end.why));
        }),
      ];
      signal?.addEventListener('abort', onAbort);
      stop.signal.addEventListener('abort', onClosed);
      void this.#connect(stop);
    });
  }

  /** Says good-bye; resolves when the server has closed the connection. */
  async logout(): Promise<void> {
    const session = this.#session;
    if (session && this.#state === 'ready') {
      await this.#liveMarks.flush();
      const gone = this.next('ended', () => true, { timeout: 2_000 }).catch(() => undefined);
      this.#isLeaving = true;
      session.send(outgoing.offline(this.userId));
      await gone;
    }
    this.close();
  }

  /** Ends the connection without a word. Messages without a receipt stay in the outbox. */
  close(): void {
    const stop = this.#stop;
    clearTimeout(this.#retry);
    this.#stop = undefined;
    this.#dropSession();
    void this.#liveMarks.flush();
    this.#become('closed');
    stop?.abort();
  }

  /**
   * Sends a text to a person. Resolves when the server has stored it: at once when there is a
   * connection, else when there is one again. Resending needs nobody's help and stores nothing
   * twice. `id` of the result names the message, for retract() and the "status" event.
   */
  send(userId: string, text: string, options: SendOptions = {}): Promise<{ id: string }> {
    return this.#queue('user', userId, text, options);
  }

  /** Sends a text to a group, as send() does to a person. */
  sendToGroup(groupId: string, text: string, options: SendOptions = {}): Promise<{ id: string }> {
    return this.#queue('group', groupId, text, options);
  }

  /** Gives up a message that the server has not confirmed. It may have been sent already. */
  withdraw(id: string): boolean {
    const error = new Error('the message was withdrawn');
    error.name = 'AbortError';
    const known = this.#outbox.withdraw(id, error);
    if (known) this.emit('status', { id, status: 'withdrawn' });
    return known;
  }

  /** Asks the other side's clients to take a message out of their view. */
  retract(target: { userId: string } | { groupId: string }, id: string): void {
    this.withdraw(id);
    const isGroup = 'groupId' in target;
    const to = isGroup ? target.groupId : target.userId;
    this.transmit(outgoing.retract({ isGroup, target: to, sender: this.userId, id }));
  }

  /** Shakes a person's window. */
  nudge(userId: string): void {
    this.transmit(outgoing.jitterWindow(userId, this.userId));
  }

  /** Changes how others see the user; "offline" is invisible, and still logged in. */
  setPresence(presence: Exclude<Presence, 'phone'>): void {
    const records = { online: outgoing.onLine, away: outgoing.goAway, offline: outgoing.stealth };
    this.#presence = presence;
    this.transmit(records[presence](this.userId));
  }

  /** Posts a notice. There is no receipt for one. */
  postNotice(notice: Omit<OutgoingNotice, 'sender'>): void {
    this.transmit(outgoing.notification({ ...notice, sender: this.userId }));
  }

  /** Writes the own profile, all of it, and tells the others. */
  changeProfile(profile: Profile): void {
    this.transmit(outgoing.modifyData(this.userId, profile));
  }

  /** Sets the own password. The server does not answer. */
  changePassword(password: string): void {
    if (password.trim() !== password || password === '') {
      throw new RangeError('a password cannot be empty, nor begin or end with a blank');
    }
    this.transmit(outgoing.changePassword(this.userId, password));
  }

  /** Friend requests: 0 are granted at once, 1 are put to the user, 2 are dropped. */
  setVerification(value: 0 | 1 | 2): void {
    this.transmit(outgoing.modifyIsVerify(this.userId, value));
  }

  /** Sends any record now. Throws a ConnectionError when there is no session. */
  transmit(...records: string[]): void {
    if (!this.#isUp || !this.#session) throw new ConnectionError('there is no session with the server');
    this.#session.send(...records);
  }

  // What was missed can be answered while it is handed out.
  get #isUp(): boolean {
    return this.#state === 'ready' || this.#catchingUp !== undefined;
  }

  #queue(
    kind: 'user' | 'group',
    target: string,
    text: string,
    { id = newMessageId(), font, signal }: SendOptions,
  ): Promise<{ id: string }> {
    if (signal?.aborted) return Promise.reject(abortError(signal));
    const item: OutboxItem = { id, kind, target, text, ...(font ? { font } : {}) };
    try {
      this.#recordOf(item);
    } catch (error) {
      return Promise.reject(error);
    }
    const stored = this.#outbox.add(item);
    const onAbort = () => {
      if (this.#outbox.withdraw(id, abortError(signal!))) this.emit('status', { id, status: 'withdrawn' });
    };
    signal?.addEventListener('abort', onAbort);
    this.emit('status', { id, status: 'queued' });
    this.#sendDue();
    return stored
      .then(() => ({ id }))
      .finally(() => signal?.removeEventListener('abort', onAbort));
  }

  #recordOf({ id, kind, target, text, font }: OutboxItem): string {
    const build = kind === 'group' ? outgoing.groupMessage : outgoing.message;
    return build({ target, sender: this.userId, text, id, ...(font ? { font } : {}) });
  }

  #sendDue(): void {
    if (this.#state !== 'ready') return;
    for (const item of this.#outbox.due(Date.now())) {
      this.#session!.send(this.#recordOf(item));
      this.emit('status', { id: item.id, status: 'sent' });
    }
  }

  async #connect(stop: AbortController): Promise<void> {
    this.#become('connecting');
    const handlers = {
      onLoggedIn: (who: LoggedIn) => {
        this.#who = who;
        this.emit('loggedIn', who);
      },
      onReady: () => void this.#becomeReady(stop),
      onRecord: (incoming: Incoming, record: string) => this.#onRecord(incoming, record),
      onText: (text: string) => this.#onText(text),
      onEnd: (end: SessionEnd) => this.#onEnd(end),
    };
    try {
      const page = await openCodePage(this.#options.codePage ?? 936);
      const { connect } = this.#options;
      const identity = identityOf(this.#options);
      const session = await Session.open(
        connect, page, identity, this.#presence, this.#timing, handlers, stop.signal,
      );
      if (stop.signal.aborted) session.close();
      else this.#session = session;
    } catch (error) {
      if (!stop.signal.aborted) this.#onEnd({ kind: 'lost', why: (error as Error).message });
    }
  }

  async #becomeReady(stop: AbortController): Promise<void> {
    const session = this.#session;
    if (this.#options.catchUp) await this.#catchUp(this.#options.catchUp);
    if (session !== this.#session || stop.signal.aborted) return;
    this.#attempts = 0;
    this.#become('ready');
    const isFirst = !this.#everReady;
    this.#everReady = true;
    this.#outbox.forgetTries();
    this.#sendDue();
    this.#receipts = setInterval(() => this.#sendDue(), Math.max(this.#timing.receipt / 4, 20));
    this.emit('ready', { userId: this.userId, isFirst });
    for (const request of this.#requests.splice(0)) this.emit('verify', request);
  }

  // What comes live meanwhile waits, so that all is handed out in order.
  async #catchUp(source: CatchUp): Promise<void> {
    const run = new CatchingUp();
    this.#catchingUp = run;
    try {
      await run.run(source, this.#timing.catchUp, (missed) =>
        this.#deliver(missed, 'id' in missed ? `${missed.type}|${missed.id}` : missed.type),
      );
    } catch (error) {
      if (this.#catchingUp === run) this.emit('trouble', error as Error);
    }
    if (this.#catchingUp === run) this.#catchingUp = undefined;
    for (const { incoming, record } of this.#heldBack.splice(0)) this.#onRecord(incoming, record);
  }

  #onRecord(incoming: Incoming, record: string): void {
    const key = deliveryKey(incoming, record);
    if (this.#catchingUp && key !== undefined) {
      this.#heldBack.push({ incoming, record });
      return;
    }
    this.emit('record', { incoming, record });
    this.#deliver(incoming, record);
    if (key !== undefined) this.#liveMarks.add(incoming as Delivery);
  }

  #deliver(incoming: Incoming, record: string): void {
    // An answer to a request takes a session.
    if (incoming.type === 'verify' && !this.#isUp) return void this.#requests.push(incoming);
    const key = deliveryKey(incoming, record);
    this.#confirmDelivery(incoming);
    if (key !== undefined && !this.#seen.add(key)) return;
    if (incoming.type === 'receipt') this.#onReceipt(incoming);
    if (incoming.type === 'delivered') this.emit('status', { id: incoming.id, status: 'delivered' });
    this.emit(incoming.type, incoming as never);
  }

  #onReceipt({ id, store }: OfType<'receipt'>): void {
    if (store !== 'message' && store !== 'groupMessage') return;
    if (this.#outbox.confirm(id)) this.emit('status', { id, status: 'stored' });
  }

  // To both devices of the sender: which one has sent it is not told.
  #confirmDelivery(incoming: Incoming): void {
    if (this.#options.confirmDelivery === false || incoming.type !== 'message') return;
    const { isOwn, id, userId } = incoming;
    if (isOwn || id === '' || id === '0' || userId === this.userId || !/^[\w-]+$/.test(userId)) return;
    this.#session?.send(
      outgoing.replyTransmission(userId, id),
      outgoing.replyTransmission(`${userId}m`, id),
    );
  }

  #onText(text: string): void {
    try {
      const { type, user, device, token } = JSON.parse(text) as Record<string, string>;
      if (type === 'session') this.emit('session', { user, device, token });
    } catch {
      // A frame of a newer gateway; nothing depends on it.
    }
  }

  #onEnd(end: SessionEnd): void {
    const isFinal = !['lost', 'serverEnds', 'unproven'].includes(end.kind);
    const mayRetry = this.#stop !== undefined && !this.#isLeaving;
    const retries = !isFinal && mayRetry && this.#options.reconnect !== false;
    this.#dropSession();
    this.#become(retries ? 'waiting' : 'closed');
    if (!retries) {
      const stop = this.#stop;
      this.#stop = undefined;
      this.emit('ended', end);
      stop?.abort();
      return;
    }
    const stop = this.#stop!;
    const retryIn = this.#backOff();
    this.#retry = setTimeout(() => void this.#connect(stop), retryIn);
    this.emit('ended', { ...end, retryIn });
  }

  // Doubles; the random part keeps many clients of one server from coming back at one time.
  #backOff(): number {
    const { reconnectFirst, reconnectLongest } = this.#timing;
    const wait = Math.min(reconnectFirst * 2 ** this.#attempts++, reconnectLongest);
    return Math.round(wait * (0.5 + Math.random() / 2));
  }

  /** Does not wait any longer with the next try. */
  reconnectNow(): void {
    if (this.#state !== 'waiting' || !this.#stop) return;
    clearTimeout(this.#retry);
    this.#attempts = 0;
    void this.#connect(this.#stop);
  }

  #dropSession(): void {
    clearInterval(this.#receipts);
    const catchingUp = this.#catchingUp;
    this.#catchingUp = undefined;
    catchingUp?.end(new ConnectionError('the connection has ended'));
    this.#session?.close();
    this.#session = undefined;
  }

  #become(state: ClientState): void {
    if (state === this.#state) return;
    this.#state = state;
    this.emit('state', state);
  }
}
