// What was said while nobody was here, by way of a gateway's interface.

import { parseRecord, readMessageText, Verify } from '@vnq/protocol';
import type { CatchUp, Delivery } from './catch_up';

/** A message or a notice of the history, as the gateway and `vnqctl history --json` give it. */
export interface HistoryEntry {
  readonly kind: 'message' | 'group_message' | 'notice';
  readonly Msg_ID: string;
  /** "2026-03-04 14:35:09" */
  readonly time: string;
  readonly from: string;
  readonly from_name?: string;
  readonly to: string | null;
  readonly to_name?: string | null;
  readonly own: boolean;
  readonly unread: boolean;
  /** As a person reads it. */
  readonly text: string;
  readonly UserText?: string;
  readonly To_Type?: number;
  readonly FontInfo?: string;
  /** Of own messages to people: a device of theirs has had it. */
  readonly delivered?: boolean;
  readonly TypeID?: number;
  readonly content?: string;
  readonly link?: string;
}

/** A request, an answer or news of a membership that found this device absent. */
export interface ParkedRequest {
  /** "2026-03-04 14:35:09" */
  readonly time: string;
  readonly text: string;
  /** Whose UserID2 is, and what ClotID is called, a person or a group. */
  readonly name: string;
  readonly target_name: string;
  readonly ClotID: string;
  readonly UserID2: string;
  readonly UserText: string;
  readonly To_Type1: string;
  readonly To_Type2: string;
  readonly To_Type3: string;
  readonly To_Type4: string;
}

/** The event that a live client would have got. */
export function verifyOf(request: ParkedRequest): Verify {
  const { ClotID, UserID2, UserText, To_Type1, To_Type2, To_Type3, To_Type4 } = request;
  const fields = [ClotID, UserID2, UserText, To_Type1, To_Type2, To_Type3, To_Type4];
  return parseRecord(`.+messengverify|${fields.join('|')}|#`) as Verify;
}

/** The event that a live client would have got. */
export function deliveryOf(entry: HistoryEntry): Exclude<Delivery, Verify> {
  const [date, time = ''] = entry.time.split(' ');
  if (entry.kind === 'notice') {
    const { text, content = '', link = '' } = entry;
    return { type: 'notice', title: text, content, link, date: entry.time, id: entry.Msg_ID };
  }
  const words = readMessageText(entry.UserText ?? '');
  const isFile = words.isFile || entry.To_Type === 60;
  const common = {
    ...words,
    isFile,
    isOwn: entry.own,
    date,
    time,
    font: entry.FontInfo ?? '',
    id: entry.Msg_ID,
  };
  if (entry.kind === 'group_message') {
    return { type: 'groupMessage', groupId: entry.to ?? '', userId: entry.from, ...common };
  }
  const userId = entry.own ? entry.to ?? '' : entry.from;
  return { type: 'message', userId, otherDeviceWaits: false, ...common };
}

/** A gateway has refused a request. */
export class GatewayError extends Error {
  override name = 'GatewayError';
  constructor(readonly status: number, message: string) {
    super(message);
  }
}

export type ConversationName =
  | { readonly with: string }
  | { readonly group: string }
  | { readonly notices: true };

export interface PageOptions {
  readonly limit?: number;
  /** Only what stands in front of, or behind, the entry with this Msg_ID. */
  readonly before?: string;
  readonly after?: string;
  /** Nothing older than "YYYY-MM-DD" or "YYYY-MM-DD hh:mm:ss". */
  readonly since?: string;
}

export interface EntryPage {
  readonly entries: readonly HistoryEntry[];
  readonly more: boolean;
}

/** An entry, as far as it takes to mark it. */
interface EntryName {
  readonly kind: HistoryEntry['kind'];
  readonly Msg_ID: string;
  readonly to: string | null;
  readonly own: boolean;
}

// Nothing for what has no id, by which it is marked.
function nameOf(delivery: Delivery): EntryName | undefined {
  if (delivery.type === 'verify' || delivery.id === '' || delivery.id === '0') return undefined;
  const { type, id: Msg_ID } = delivery;
  if (type === 'notice') return { kind: 'notice', Msg_ID, to: null, own: false };
  if (type === 'groupMessage') return { kind: 'group_message', Msg_ID, to: delivery.groupId, own: delivery.isOwn };
  return { kind: 'message', Msg_ID, to: delivery.userId, own: type === 'message' && delivery.isOwn };
}

// Requests have no ids; a body of so many is well within what the gateway takes.
const requestsAtOnce = 50;

/** Requests to a gateway with the token of a session. What `catchUp` of a client takes. */
export class Gateway implements CatchUp {
  // Requests that were handed out and that could not be taken away.
  readonly #handedOut = new Set<string>();

  /**
   * @param base "https://chat.example.org"; "" in a page that the gateway itself serves
   * @param token asked at each request: it is another one after each log-in
   */
  constructor(
    private readonly base: string,
    private readonly token: () => string,
    private readonly fetcher: typeof fetch = (input, init) => fetch(input, init),
  ) {}

  async get<T>(path: string, query: Record<string, unknown> = {}, signal?: AbortSignal): Promise<T> {
    const given = Object.entries(query).filter(([, value]) => value !== undefined);
    const search = new URLSearchParams(given.map(([key, value]) => [key, String(value)]));
    const tail = given.length > 0 ? `?${search}` : '';
    return this.#request<T>(`${path}${tail}`, { ...(signal ? { signal } : {}) });
  }

  async post<T>(path: string, body: unknown): Promise<T> {
    const headers = { 'Content-Type': 'application/json' };
    return this.#request<T>(path, { method: 'POST', headers, body: JSON.stringify(body) });
  }

  messages(conversation: ConversationName, page: PageOptions = {}, signal?: AbortSignal): Promise<EntryPage> {
    const named = 'notices' in conversation ? { notices: 1 } : conversation;
    return this.get<EntryPage>('/api/messages', { ...named, ...page }, signal);
  }

  search(words: string, page: PageOptions = {}, signal?: AbortSignal): Promise<EntryPage> {
    return this.get<EntryPage>('/api/search', { q: words, ...page }, signal);
  }

  /** Entries, or a conversation up to an entry, count as read by this device from now on. */
  async markRead(
    what: { entries: readonly EntryName[] } | (ConversationName & { through?: string }),
  ): Promise<void> {
    if (!('entries' in what)) return void (await this.post('/api/read', what));
    const entries = what.entries.map(({ kind, Msg_ID, to, own }) => ({ kind, Msg_ID, to, own }));
    await this.post('/api/read', { entries });
  }

  /** What waits for this device, oldest first. */
  async requests(signal?: AbortSignal): Promise<readonly ParkedRequest[]> {
    return (await this.get<{ requests: ParkedRequest[] }>('/api/requests', {}, signal)).requests;
  }

  /** Requests do not wait any longer: they were answered, or are of no interest. */
  async forgetRequests(requests: readonly ParkedRequest[]): Promise<void> {
    for (let at = 0; at < requests.length; at += requestsAtOnce) {
      await this.post('/api/requests/forget', { requests: requests.slice(at, at + requestsAtOnce) });
    }
  }

  /**
   * Everything that this device has not had, oldest first, and behind it requests that waited. A page is marked as read,
   * and requests are taken away, when the one who asks has handed them out and asks for more.
   */
  async *missed(signal?: AbortSignal): AsyncGenerator<readonly Delivery[], void, void> {
    for (let more = true; more; ) {
      const page = await this.get<EntryPage>('/api/unread', { limit: 500 }, signal);
      if (page.entries.length === 0) break;
      yield page.entries.map(deliveryOf);
      await this.markRead({ entries: page.entries });
      more = page.more;
    }
    const requests = await this.requests(signal);
    yield this.#notHandedOut(requests).map(verifyOf);
    await this.forgetRequests(requests);
    this.#handedOut.clear();
  }

  /** Marks what came live. */
  async handedOut(deliveries: readonly Delivery[]): Promise<void> {
    const entries = deliveries.map(nameOf).filter((name): name is EntryName => name !== undefined);
    if (entries.length > 0) await this.markRead({ entries });
  }

  #notHandedOut(requests: readonly ParkedRequest[]): ParkedRequest[] {
    const fresh = requests.filter((request) => !this.#handedOut.has(JSON.stringify(request)));
    for (const request of fresh) this.#handedOut.add(JSON.stringify(request));
    return fresh;
  }

  async #request<T>(path: string, init: RequestInit): Promise<T> {
    const headers = { ...init.headers, Authorization: `Bearer ${this.token()}` };
    const response = await this.fetcher(this.base + path, { ...init, headers, cache: 'no-store' });
    if (response.ok) return (await response.json()) as T;
    const { error } = (await response.json().catch(() => ({}))) as { error?: string };
    throw new GatewayError(response.status, error ?? `the gateway answers ${response.status}`);
  }
}
