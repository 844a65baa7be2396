// All conversations: with people, groups and visitors, and the notices.

import { computed, signal } from '@preact/signals';
import type { ConversationName, EntryPage, HistoryEntry } from '@vnq/client';
import { GatewayError, newMessageId } from '@vnq/client';
import { groups, nameOfGroup, nameOfPerson, people } from './directory';
import { knownLine, noteDelivered } from './deliveries';
import { Line, LineStatus, now, withLatest, withLine, withOlder } from './lines';
import { isWatched } from './notifications';
import { client, gateway, ownId } from './server';
import { remember, remembered } from './storage';
import { t } from '../texts';

export type Kind = 'peer' | 'group' | 'notices' | 'visitor';

export interface Conversation {
  readonly kind: Kind;
  readonly id: string;
  readonly unread: number;
  readonly last?: Line;
  readonly lines: readonly Line[];
  /** The latest page has been here since the last log-in. */
  readonly isLoaded: boolean;
  /** There are older ones. */
  readonly hasOlder: boolean;
  /** A window around an older line: what is new does not join it. */
  readonly isWindow: boolean;
  /** Of visitors; what they have called themselves. */
  readonly name?: string;
  readonly city?: string;
  readonly isHere?: boolean;
}

const pageSize = 40;

export const conversations = signal<ReadonlyMap<string, Conversation>>(new Map());
/** The key of the one that is shown. */
export const current = signal('');
/** A line to be brought into view. */
export const highlighted = signal('');
export const retracted = signal<ReadonlySet<string>>(new Set(remembered<string[]>('retracted', [])));

export const keyOf = (kind: Kind, id: string) => (kind === 'notices' ? kind : `${kind}/${id}`);

function fresh(key: string): Conversation {
  const [kind, ...rest] = key.split('/');
  return {
    kind: kind as Kind,
    id: rest.join('/'),
    unread: 0,
    lines: [],
    isLoaded: false,
    hasOlder: false,
    isWindow: false,
  };
}

export function conversation(key: string): Conversation {
  return conversations.value.get(key) ?? fresh(key);
}

function change(key: string, changes: Partial<Conversation>): void {
  conversations.value = new Map(conversations.value).set(key, { ...conversation(key), ...changes });
}

export function titleOf({ kind, id, name }: Pick<Conversation, 'kind' | 'id' | 'name'>): string {
  if (kind === 'notices') return t('notices');
  if (kind === 'visitor') return name || `${t('visitor')} ${id.replace(/^web-/, '').slice(0, 6)}`;
  return kind === 'group' ? nameOfGroup(id) : nameOfPerson(id);
}

const lastAt = ({ last }: Conversation) => last?.at ?? '';

function latestFirst(all: Iterable<Conversation>): readonly Conversation[] {
  return [...all].sort((a, b) => (lastAt(a) < lastAt(b) ? 1 : lastAt(a) > lastAt(b) ? -1 : 0));
}

const isVisitorId = (id: string) => id.startsWith('web-') && !people.value.has(id);

/** Those with people and groups, the latest first; groups that were silent come last. */
export const chats = computed(() => {
  const known = conversations.value;
  const withPeople = [...known.values()].filter(({ kind, id }) => kind === 'peer' && !isVisitorId(id));
  const keys = [...groups.value.keys()].map((id) => keyOf('group', id));
  return latestFirst([...withPeople, ...keys.map((key) => known.get(key) ?? fresh(key))]);
});
export const visitors = computed(() =>
  latestFirst([...conversations.value.values()].filter(({ kind }) => kind === 'visitor')),
);

const sum = (all: readonly Conversation[]) => all.reduce((total, { unread }) => total + unread, 0);
export const unreadChats = computed(() => sum(chats.value));
export const unreadVisitors = computed(() => sum(visitors.value));
export const unreadNotices = computed(() => conversations.value.get('notices')?.unread ?? 0);
export const unreadInAll = computed(() => unreadChats.value + unreadVisitors.value + unreadNotices.value);

// ----- from the gateway

interface ConversationsAnswer {
  readonly conversations: readonly {
    readonly kind: 'peer' | 'group' | 'notices';
    readonly id: string;
    readonly unread: number;
    readonly last: HistoryEntry | null;
  }[];
}

interface VisitorLine {
  readonly id: string;
  readonly time: string;
  readonly from: string;
  readonly text: string;
  readonly form?: boolean;
}

interface VisitorsAnswer {
  readonly visitors: readonly {
    readonly id: string;
    readonly name: string;
    readonly city: string;
    readonly here: boolean;
    readonly last: VisitorLine | null;
    readonly lines: number;
  }[];
}

function nameFor({ kind, id }: Conversation): ConversationName {
  if (kind === 'notices') return { notices: true };
  return kind === 'group' ? { group: id } : { with: id };
}

let refreshing = false;
let refreshAgain = false;

/**
 * Asks the gateway for everything anew: after each log-in, and when something has come meanwhile.
 * What is shown stays until the answer is there.
 */
export async function refresh(): Promise<void> {
  refreshAgain = refreshing;
  if (refreshing) return;
  refreshing = true;
  try {
    do {
      refreshAgain = false;
      await Promise.all([refreshList(), refreshVisitors()]);
      const shown = current.value;
      if (shown !== '') await loadLatest(shown);
    } while (refreshAgain);
  } finally {
    refreshing = false;
  }
}

async function refreshList(): Promise<void> {
  const answer = await gateway.get<ConversationsAnswer>('/api/conversations');
  const next = new Map(conversations.value);
  // A conversation that is not shown is asked again when it is opened.
  for (const [key, each] of next) {
    if (key !== current.value) next.set(key, { ...each, isLoaded: false });
  }
  for (const { kind, id, unread, last } of answer.conversations) {
    const key = keyOf(kind, id);
    const old = next.get(key) ?? fresh(key);
    next.set(key, { ...old, unread, ...(last ? { last: knownLine(last) } : {}) });
  }
  conversations.value = next;
}

const lineOfVisitor = (line: VisitorLine): Line => ({
  id: line.id,
  from: line.from,
  isOwn: line.from === ownId(),
  text: line.text,
  isFile: false,
  at: line.time,
  ...(line.from === ownId() ? { status: 'stored' as const } : {}),
  ...(line.form ? { isForm: true } : {}),
});

/** How many lines of each visitor this browser has shown. */
const seenLines = new Map<string, number>(remembered<[string, number][]>('visitors', []));

let visitorLines = new Map<string, number>();

export async function refreshVisitors(): Promise<void> {
  const answer = await gateway.get<VisitorsAnswer>('/api/visitors').catch(() => ({ visitors: [] }));
  const next = new Map(conversations.value);
  for (const { id, name, city, here, last, lines } of answer.visitors) {
    const key = keyOf('visitor', id);
    const old = next.get(key) ?? fresh(key);
    // Who has answered last has seen what stands in front, in whichever browser.
    const isAnswered = last?.from === ownId();
    const unread = isAnswered ? 0 : Math.max(0, lines - (seenLines.get(id) ?? 0));
    visitorLines = new Map(visitorLines).set(id, lines);
    next.set(key, { ...old, name, city, isHere: here, unread, ...(last ? { last: lineOfVisitor(last) } : {}) });
  }
  conversations.value = next;
  if (current.value.startsWith('visitor/')) await loadLatest(current.value);
}

async function loadVisitor(key: string): Promise<void> {
  const { id, lines } = conversation(key);
  const path = `/api/visitors/${encodeURIComponent(id)}`;
  const answer = await gateway.get<{ lines: readonly VisitorLine[] }>(path);
  change(key, { lines: withLatest(lines, answer.lines.map(lineOfVisitor)), isLoaded: true });
}

/** Brings the latest page of a conversation. */
export async function loadLatest(key: string): Promise<void> {
  if (key.startsWith('visitor/')) {
    await loadVisitor(key);
  } else {
    const page = await gateway.messages(nameFor(conversation(key)), { limit: pageSize });
    const { lines, isWindow, hasOlder } = conversation(key);
    const merged = withLatest(isWindow ? [] : lines, page.entries.map(knownLine));
    const keptOlder = merged.length > page.entries.length && !isWindow ? hasOlder : page.more;
    change(key, { lines: merged, isLoaded: true, hasOlder: keptOlder, isWindow: false });
  }
  if (key === current.value) markRead(key);
}

/** Brings the page in front of what is shown. */
export async function loadOlder(key: string): Promise<void> {
  const oldest = conversation(key).lines[0];
  if (!oldest || !conversation(key).hasOlder) return;
  const options = { limit: pageSize, before: oldest.id };
  const page = await gateway.messages(nameFor(conversation(key)), options);
  const { lines } = conversation(key);
  change(key, { lines: withOlder(lines, page.entries.map(knownLine)), hasOlder: page.more });
}

/** Shows a conversation around one entry of the history. */
export async function showEntry(entry: HistoryEntry): Promise<void> {
  const key = keyOfEntry(entry);
  const name = nameFor(conversation(key));
  const around = (options: object): Promise<EntryPage> => gateway.messages(name, { limit: 20, ...options });
  const [before, after] = await Promise.all([
    around({ before: entry.Msg_ID }),
    around({ after: entry.Msg_ID }),
  ]);
  const lines = [...before.entries, entry, ...after.entries].map(knownLine);
  change(key, { lines, isLoaded: true, hasOlder: before.more, isWindow: after.more });
  current.value = key;
  highlighted.value = entry.Msg_ID;
}

export function keyOfEntry(entry: HistoryEntry): string {
  if (entry.kind === 'notice') return 'notices';
  if (entry.kind === 'group_message') return keyOf('group', entry.to ?? '');
  return keyOf('peer', (entry.own ? entry.to : entry.from) ?? '');
}

// ----- what comes live

/** Adds a line that has come. Returns true when somebody should be told. */
export function receive(key: string, line: Line): boolean {
  const { lines, isWindow, unread } = conversation(key);
  if (lines.some(({ id }) => id === line.id)) return false;
  const isShown = key === current.value && isWatched() && !isWindow;
  const count = line.isOwn || isShown ? unread : unread + 1;
  change(key, { last: line, unread: count, ...(isWindow ? {} : { lines: withLine(lines, line) }) });
  if (refreshing) refreshAgain = true;
  if (isShown && !line.isOwn) {
    owed.add(key);
    markRead(key);
  }
  return !line.isOwn && !isShown;
}

export function setStatus(id: string, status: LineStatus): void {
  if (status === 'delivered') noteDelivered(id);
  for (const [key, { lines, last }] of conversations.value) {
    const line = lines.find((each) => each.id === id);
    if (!line || line.status === undefined) continue;
    const changed = withLine(lines, { ...line, status });
    const isLast = last?.id === id;
    change(key, { lines: changed, ...(isLast ? { last: changed.find((each) => each.id === id)! } : {}) });
    return;
  }
}

export function noteRetracted(id: string): void {
  const ids = [...retracted.value, id].slice(-1_000);
  retracted.value = new Set(ids);
  remember('retracted', ids);
}

// ----- what the user does

/** Sends a text; the line is there at once and tells how far it is. */
export function sendLine(key: string, text: string): void {
  const { kind, id: target, lines, isWindow } = conversation(key);
  const id = newMessageId();
  const line: Line = { id, from: ownId(), isOwn: true, text, isFile: false, at: now(), status: 'queued' };
  change(key, { last: line, ...(isWindow ? {} : { lines: withLine(lines, line) }) });
  const server = client.value!;
  const sent = kind === 'group' ? server.sendToGroup(target, text, { id }) : server.send(target, text, { id });
  sent.catch(() => setStatus(id, 'withdrawn'));
  if (isWindow) void loadLatest(key);
}

/** Lines that an earlier visit could not send any more are shown where they belong. */
export function showUnconfirmed(): void {
  for (const { id, kind, target, text } of client.value?.unconfirmed ?? []) {
    const key = keyOf(kind === 'group' ? 'group' : isVisitorId(target) ? 'visitor' : 'peer', target);
    const { lines } = conversation(key);
    if (lines.some((line) => line.id === id)) continue;
    const line: Line = { id, from: ownId(), isOwn: true, text, isFile: false, at: now(), status: 'queued' };
    change(key, { last: line, lines: withLine(lines, line) });
  }
}

export function retractLine(key: string, line: Line): void {
  const { kind, id } = conversation(key);
  client.value?.retract(kind === 'group' ? { groupId: id } : { userId: id }, line.id);
  noteRetracted(line.id);
}

export function open(key: string): void {
  highlighted.value = '';
  current.value = key;
  if (key === '') return;
  if (!conversations.value.has(key)) change(key, {});
  if (conversation(key).isLoaded && !conversation(key).isWindow) markRead(key);
  else loadLatest(key).catch(() => undefined);
}

/** The conversation that the page's address names; "" for none. */
export function keyInAddress(): string {
  try {
    const key = decodeURIComponent(location.hash.slice(2));
    return /^(peer|group|visitor)\/.|^notices$/.test(key) ? key : '';
  } catch {
    return '';
  }
}

// Conversations of which something was shown that the server has not been told yet, and those that it
// is being told of.
const owed = new Set<string>();
// Lines that came live and are in no history of the user: the server has handed over what waited for somebody else on the
// same slot.
const strays = new Set<string>();
const marking = new Set<string>();

/** What is shown counts as read, here and at the server. */
export function markRead(key: string): void {
  const { kind, id, unread, lines, isWindow } = conversation(key);
  if (!isWatched() || isWindow) return;
  if (kind === 'visitor') {
    seenLines.set(id, visitorLines.get(id) ?? 0);
    remember('visitors', [...seenLines].slice(-500));
    if (unread > 0) change(key, { unread: 0 });
    return;
  }
  const isAtServer = ({ id: each, status }: Line) => status !== 'queued' && status !== 'sent' && !strays.has(each);
  const through = [...lines].reverse().find(isAtServer);
  if ((unread === 0 && !owed.has(key)) || !through || marking.has(key)) return;
  owed.delete(key);
  marking.add(key);
  if (unread > 0) change(key, { unread: 0 });
  gateway.markRead({ ...nameFor(conversation(key)), through: through.id }).then(
    () => {
      marking.delete(key);
      if (owed.has(key) && key === current.value) markRead(key);
    },
    // Told with the next line that is shown, or after the next log-in.
    (error: unknown) => {
      marking.delete(key);
      owed.add(key);
      if (!(error instanceof GatewayError) || error.status !== 404) return;
      strays.add(through.id);
      markRead(key);
    },
  );
}

export function forgetConversations(): void {
  conversations.value = new Map();
  current.value = '';
}
