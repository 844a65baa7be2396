// The library through a gateway, as a page uses it: WebSocket, and the history over HTTP.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { connect, createServer } from 'node:net';
import { after, before, test } from 'node:test';
import { WebSocket as Socket } from 'ws';

import { Client, Gateway, GatewayError, webSocket, type Connector } from '@vnq/client';
import { Deployment } from '../../gateway/test/deployment';
import { alice, ben, carol, team, until, type Account } from '../../testing/server';
import { textsOf } from './people';

let deployment: Deployment;
before(async () => void (deployment = await new Deployment().start()));
after(() => deployment.stop());

interface Visit {
  readonly client: Client;
  readonly gateway: Gateway;
}

type Cleaner = { after(f: () => void): void };

function visit({ user, password }: Account, t: Cleaner, history = '', fetcher: typeof fetch = fetch): Visit {
  const place = `${deployment.address}:${deployment.port}`;
  let token = '';
  const gateway = new Gateway(`http://${history || place}`, () => token, fetcher);
  const client = new Client({
    connect: webSocket(`ws://${place}/ws`, (url) => new Socket(url) as unknown as WebSocket),
    user,
    password,
    catchUp: gateway,
    timing: { reconnectFirst: 50, reconnectLongest: 400, receipt: 4_000 },
  });
  client.on('session', (session) => (token = session.token));
  t.after(() => client.close());
  return { client, gateway };
}

test('gateway: what was missed is handed out once, before what comes live', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  for (const text of ['one', 'two 二']) await a.send(ben.userId, text);
  await a.sendToGroup(team, 'three');
  const b = visit(ben, t).client;
  const texts = textsOf(b);
  await b.login();
  await a.send(ben.userId, 'live');
  await until(() => texts.length >= 4, () => texts.join());
  assert.deepEqual(texts, ['one', 'two 二', 'three', 'live']);
});

test('gateway: a server killed in the middle loses and doubles nothing', async (t) => {
  const [a, b] = [visit(alice, t).client, visit(ben, t).client];
  await Promise.all([a.login(), b.login()]);
  const texts = textsOf(b);
  const expected = Array.from({ length: 40 }, (_, i) => `line ${i}`);
  const sent = expected.map((text) => a.send(ben.userId, text));
  await sent[0];
  await deployment.endServer('SIGKILL');
  await deployment.startServer();
  await Promise.all(sent);
  await until(() => texts.length >= expected.length, () => `${texts.length} texts`);
  assert.deepEqual([...texts].sort(), [...expected].sort());
});

/** Stands before the gateway, and breaks off within the first answer to a request for the path. */
async function breakingAt(path: string, t: Cleaner): Promise<string> {
  let breaks = true;
  const server = createServer((socket) => {
    const onward = connect({ port: deployment.port, host: deployment.address });
    let isAsked = false;
    socket.on('data', (bytes) => {
      isAsked = bytes.toString().split('\r\n')[0].includes(path);
      onward.write(bytes);
    });
    onward.on('data', (bytes) => {
      const isBreak = breaks && isAsked;
      if (isBreak) breaks = false;
      socket.write(isBreak ? bytes.subarray(0, bytes.length - 1) : bytes, () => isBreak && socket.destroy());
    });
    for (const [one, other] of [[socket, onward], [onward, socket]]) {
      one.on('error', () => undefined);
      one.on('close', () => other.destroy());
    }
  });
  t.after(() => server.close());
  server.listen(0, deployment.address);
  await once(server, 'listening');
  return `${deployment.address}:${(server.address() as { port: number }).port}`;
}

const unreadOf = (userId: string) => deployment.unread(userId).map(({ text }) => text);

test('gateway: news of others in front of the log-in\'s answer cost another try, not the history', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  const url = `ws://${deployment.address}:${deployment.port}/ws`;
  const plain = webSocket(url, (address) => new Socket(address) as unknown as WebSocket);
  let connections = 0;
  const connect: Connector = async (handlers, signal) => {
    const isFirst = ++connections === 1;
    let chunks = 0;
    let waiting: Uint8Array | undefined;
    const onBytes = (bytes: Uint8Array) => {
      handlers.onBytes(bytes);
      // The greeting, then what the others' presence has brought.
      if (++chunks === 2 && waiting) transport.send(waiting);
    };
    const transport = await plain({ ...handlers, onBytes }, signal);
    const send = (bytes: Uint8Array) => {
      if (!isFirst || chunks >= 2) return transport.send(bytes);
      waiting = bytes;
      a.setPresence('away');
    };
    return { ...transport, send };
  };
  const { user, password } = carol;
  const c = new Client({ connect, user, password, timing: { reconnectFirst: 50 } });
  t.after(() => c.close());
  const ends: string[] = [];
  c.on('ended', ({ kind }) => ends.push(kind));
  const session = c.next('session', () => true, { timeout: 10_000 });
  await c.login();
  assert.deepEqual([ends, (await session).user, connections], [['unproven'], carol.userId, 2]);
});

test('gateway: one that is not there is a ConnectionError', async (t) => {
  const nobody = webSocket(`ws://${deployment.address}:1/ws`, (url) => new Socket(url) as unknown as WebSocket);
  const client = new Client({ connect: nobody, user: alice.user, password: alice.password });
  t.after(() => client.close());
  await assert.rejects(client.login(), { name: 'ConnectionError' });
});

test('gateway: an answer that breaks off is told, and nothing of it counts as read', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  for (const text of ['one', 'two']) await a.send(carol.userId, text);
  const broken = visit(carol, t, await breakingAt('/api/unread', t)).client;
  const [texts, trouble] = [textsOf(broken), broken.next('trouble', () => true, { timeout: 10_000 })];
  await broken.login();
  assert.ok((await trouble) instanceof Error);
  assert.deepEqual([texts, unreadOf(carol.userId)], [[], ['one', 'two']]);
  broken.close();
  const next = visit(carol, t).client;
  const whole = textsOf(next);
  await next.login();
  assert.deepEqual([whole, unreadOf(carol.userId)], [['one', 'two'], []]);
});

test('gateway: what was handed out is not handed out again when marking it broke off', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  await a.send(carol.userId, 'three');
  const c = visit(carol, t, await breakingAt('/api/read', t)).client;
  const texts = textsOf(c);
  const trouble = c.next('trouble', () => true, { timeout: 10_000 });
  await c.login();
  await trouble;
  await c.logout();
  await a.send(carol.userId, 'four');
  await c.login();
  assert.deepEqual([texts, unreadOf(carol.userId)], [['three', 'four'], []]);
});

test('gateway: what came live is not brought to the next run of the program', async (t) => {
  const [a, c] = [visit(alice, t).client, visit(carol, t).client];
  await Promise.all([a.login(), c.login()]);
  const heard = c.next('message', ({ text }) => text === 'live', { timeout: 10_000 });
  await a.send(carol.userId, 'live');
  await heard;
  await c.logout();
  assert.deepEqual(unreadOf(carol.userId), []);
  await a.send(carol.userId, 'later');
  const next = visit(carol, t).client;
  const texts = textsOf(next);
  await next.login();
  assert.deepEqual(texts, ['later']);
});

test('gateway: texts of half a megabyte are taken in one page', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  const long = '长'.repeat(1500);
  await Promise.all(Array.from({ length: 30 }, (_, i) => a.send(carol.userId, `${i} ${long}`)));
  const c = visit(carol, t).client;
  const texts = textsOf(c);
  await c.login();
  assert.deepEqual([texts.length, unreadOf(carol.userId)], [30, []]);
});

test('gateway: the history is searched and paged, and refusals are told', async (t) => {
  const { client, gateway } = visit(ben, t);
  await client.login();
  const { entries } = await gateway.search('二');
  assert.deepEqual(entries.map(({ text }) => text), ['two 二']);
  const page = await gateway.messages({ with: alice.userId }, { limit: 10 });
  assert.deepEqual([page.entries.length, page.more], [10, true]);
  const before = await gateway.messages({ with: alice.userId }, { limit: 10, before: page.entries[0].Msg_ID });
  assert.ok(before.entries.length > 0 && before.entries.every(({ Msg_ID }) => !page.entries.some((e) => e.Msg_ID === Msg_ID)));
  await assert.rejects(gateway.get('/api/members', { group: 'Clot999999' }), (error: unknown) => {
    return error instanceof GatewayError && error.status === 403;
  });
  const stranger = new Gateway(`http://${deployment.address}:${deployment.port}`, () => 'none');
  await assert.rejects(stranger.search('x'), { name: 'GatewayError', status: 401 });
});

test('gateway: requests that found nobody come at the next log-in, once, and can be answered', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  const before = visit(ben, t).client;
  await before.login();
  await before.logout();
  a.friends.request(ben.userId, 'shall we?');
  await until(() => deployment.parked(ben.userId) > 0, () => 'a parked request');
  const b = visit(ben, t).client;
  b.on('verify', ({ step, userId }) => step === 'request' && b.friends.answer(userId, 'accept'));
  const asked = b.next('verify', ({ step }) => step === 'request', { timeout: 10_000 });
  const accepted = a.next('verify', ({ step }) => step === 'accepted', { timeout: 10_000 });
  await b.login();
  const { about, userId, text } = await asked;
  assert.deepEqual([about, userId, text], ['friend', alice.userId, 'shall we?']);
  await accepted;
  assert.equal(deployment.parked(ben.userId), 0);
});

test('gateway: a request that could not be taken away is handed out once all the same', async (t) => {
  const a = visit(alice, t).client;
  await a.login();
  a.friends.request(ben.userId, 'once more?');
  await until(() => deployment.parked(ben.userId) > 0, () => 'a parked request');
  let fails = true;
  const failing: typeof fetch = async (input, init) => {
    if (fails && String(input).endsWith('/forget')) throw new TypeError('no network');
    return fetch(input, init);
  };
  const b = visit(ben, t, '', failing).client;
  const asked: string[] = [];
  b.on('verify', ({ text }) => asked.push(text));
  await b.login();
  await b.logout();
  assert.deepEqual([asked, deployment.parked(ben.userId)], [['once more?'], 1]);
  fails = false;
  await b.login();
  assert.deepEqual([asked, deployment.parked(ben.userId)], [['once more?'], 0]);
});
