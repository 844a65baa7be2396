// Logging in and out, and where each record of the server goes.

import { signal } from '@preact/signals';
import { Client, LoginError, StorageOutbox, webSocket, Verify } from '@vnq/client';
import { t, Text } from '../texts';
import {
  conversation,
  current,
  forgetConversations,
  keyInAddress,
  keyOf,
  noteRetracted,
  open,
  receive,
  refresh,
  refreshVisitors,
  setStatus,
  showUnconfirmed,
} from './conversations';
import {
  changeGroup,
  changePerson,
  DirectoryAnswer,
  groups,
  nameOfGroup,
  nameOfPerson,
  setDirectory,
} from './directory';
import { Line } from './lines';
import { notify } from './notifications';
import { addRequest, dropRequest, loadRequests, requestOf } from './requests';
import { client, connection, gateway, retryAt, setToken } from './server';
import { outboxPlace, remember, remembered } from './storage';
import { toast } from './toasts';
import { wordsOf } from './verify_words';

/** Why nobody is logged in, for the page of the log-in. */
export const loginTrouble = signal<Text | ''>('');
export const isLoggedIn = signal(false);
/** Counts nudges, so that each shakes the window. */
export const shaken = signal(0);
export const ownPresence = signal<'online' | 'away' | 'offline'>('online');

const firstRetryMs = 1_000;
const longestRetryMs = 30_000;

const states = { offline: 0, online: 1, away: 2, phone: 3 };

interface Config {
  readonly codePage: number;
}

export async function logIn(user: string, password: string): Promise<void> {
  loginTrouble.value = '';
  try {
    const { codePage } = await readConfig();
    const fresh = new Client({
      connect: webSocket(`${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}/ws`),
      user,
      password,
      codePage,
      machineId: 'web',
      outbox: new StorageOutbox(outboxPlace, `vnq.outbox.${user}`),
    });
    listen(fresh);
    client.value = fresh;
    await fresh.login();
    remember('user', user);
    open(keyInAddress());
    isLoggedIn.value = true;
  } catch (error) {
    client.value = undefined;
    loginTrouble.value = troubleOf(error);
  }
}

async function readConfig(): Promise<Config> {
  const response = await fetch('/api/config', { cache: 'no-store' });
  if (!response.ok) throw new Error(`the gateway answers ${response.status}`);
  return (await response.json()) as Config;
}

function troubleOf(error: unknown): Text {
  if (error instanceof LoginError) return `login_${error.reason}` as Text;
  return 'login_unreachable';
}

export const rememberedUser = () => remembered('user', '');

export async function logOut(): Promise<void> {
  await client.value?.logout();
  leave('');
}

function leave(why: Text | ''): void {
  client.value = undefined;
  isLoggedIn.value = false;
  forgetConversations();
  location.hash = '#/';
  loginTrouble.value = why;
}

export async function refreshDirectory(): Promise<void> {
  setDirectory(await gateway.get<DirectoryAnswer>('/api/people'));
}

function listen(fresh: Client): void {
  fresh.on('session', ({ token }) => setToken(token));
  fresh.on('state', (state) => (connection.value = state));
  fresh.on('ready', () => void onReady(fresh));
  fresh.on('ended', ({ kind, retryIn }) => {
    retryAt.value = retryIn === undefined ? 0 : Date.now() + retryIn;
    if (retryIn !== undefined || !isLoggedIn.value) return;
    const reasons: Partial<Record<typeof kind, Text>> = {
      replaced: 'ended_replaced',
      disconnected: 'ended_disconnected',
      refused: 'login_credentials',
    };
    leave(reasons[kind] ?? '');
  });
  fresh.on('status', ({ id, status }) => setStatus(id, status));
  listenToMessages(fresh);
  listenToPeople(fresh);
}

let readyCount = 0;

// Asked again until it is answered: there is nothing to be seen without it.
async function onReady(fresh: Client): Promise<void> {
  const count = ++readyCount;
  showUnconfirmed();
  for (let waitMs = firstRetryMs; ; waitMs = Math.min(2 * waitMs, longestRetryMs)) {
    try {
      await refreshDirectory();
      await Promise.all([refresh(), loadRequests()]);
      return showUnconfirmed();
    } catch {
      if (waitMs === firstRetryMs) toast(t('history_unavailable'));
    }
    await new Promise((resolve) => setTimeout(resolve, waitMs));
    if (count !== readyCount || fresh.state !== 'ready') return;
  }
}

function come(key: string, line: Line, who: string): void {
  const isMuted = groups.value.get(conversation(key).id)?.muted === true;
  if (receive(key, line) && !isMuted) notify(who, line.text, key, () => open(key));
}

function listenToMessages(fresh: Client): void {
  fresh.on('message', ({ userId, isOwn, text, isFile, date, time, id }) => {
    const from = isOwn ? fresh.userId : userId;
    const line = { id: id || `${date}${time}${text}`, from, isOwn, text, isFile, at: `${date} ${time}` };
    come(keyOf('peer', userId), { ...line, ...(isOwn ? { status: 'stored' } : {}) }, nameOfPerson(userId));
  });
  fresh.on('file', ({ userId, name, id, date }) => {
    const line = { id, from: userId, isOwn: false, text: name, isFile: true, at: date };
    come(keyOf('peer', userId), line, nameOfPerson(userId));
  });
  fresh.on('groupMessage', ({ groupId, userId, isOwn, text, isFile, date, time, id }) => {
    const line = { id, from: userId, isOwn, text, isFile, at: `${date} ${time}` };
    const who = `${nameOfPerson(userId)} · ${nameOfGroup(groupId)}`;
    come(keyOf('group', groupId), { ...line, ...(isOwn ? { status: 'stored' } : {}) }, who);
  });
  fresh.on('notice', ({ title, content, link, date, id }) => {
    const notice = { title, content, link };
    come('notices', { id, from: '', isOwn: false, text: title, isFile: false, at: date, notice }, t('notice'));
  });
  fresh.on('retract', ({ id }) => noteRetracted(id));
  fresh.on('nudge', ({ userId }) => {
    ++shaken.value;
    toast(t('nudged_by', nameOfPerson(userId)));
    notify(nameOfPerson(userId), t('nudged_by', nameOfPerson(userId)), 'nudge', () => open(keyOf('peer', userId)));
  });
  fresh.on('visitor', ({ visitor, text }) => {
    const key = keyOf('visitor', visitor);
    refreshVisitors().catch(() => undefined);
    if (text !== '') notify(t('visitor'), text, key, () => open(key));
  });
  fresh.on('broadcast', ({ title, text }) => toast(`${title} ${text}`.trim()));
}

function listenToPeople(fresh: Client): void {
  const again = () => void refreshDirectory().catch(() => undefined);
  fresh.on('presence', ({ userIds, state }) => {
    for (const id of userIds) changePerson(id, { state: states[state] });
  });
  fresh.on('profile', ({ userId, name, fields }) => changePerson(userId, { name, job: fields[1] ?? '' }));
  fresh.on('account', again);
  fresh.on('synchronize', again);
  fresh.on('memberships', again);
  fresh.on('group', ({ change, groupId, name, remark }) => {
    if (change === 'details') changeGroup(groupId, { name, remark });
    else again();
  });
  fresh.on('verify', (verify) => {
    if (verify.step === 'request' && verify.userId !== fresh.userId) return addRequest(verify);
    dropRequest(requestOf(verify));
    if (verify.about === 'group' && isGone(verify, fresh.userId)) leaveView(verify.target);
    const words = wordsOf(verify);
    if (words) toast(words);
    again();
  });
}

const isGone = ({ step, userId }: Verify, own: string) =>
  step === 'disbanded' || (step === 'removed' && userId === own);

function leaveView(groupId: string): void {
  if (current.value === keyOf('group', groupId)) open('');
}

// Who closes the tab is seen to go at once; the server would find it out later and tell nobody.
addEventListener('pagehide', () => void client.value?.logout());

// Broadcasts of presence end where a server has many connections; a look now and then mends that.
setInterval(() => {
  if (document.visibilityState !== 'visible' || connection.value !== 'ready') return;
  refreshDirectory().catch(() => undefined);
}, 60_000);
