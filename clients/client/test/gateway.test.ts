// The library through a gateway, as a page uses it: WebSocket, and the history over HTTP.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { WebSocket as Socket } from 'ws';

import { Client, Gateway, GatewayError, webSocket } from '@vnq/client';
import { Deployment } from '../../gateway/test/deployment';
import { alice, ben, team, until, type Account } from '../../testing/server';
import { textsOf } from './people';

let deployment: Deployment;
before(async () => void (deployment = await new Deployment().start()));
after(() => deployment.stop());

interface Visit {
  readonly client: Client;
  readonly gateway: Gateway;
}

function visit({ user, password }: Account, t: { after(f: () => void): void }): Visit {
  const place = `${deployment.address}:${deployment.port}`;
  let token = '';
  const gateway = new Gateway(`http://${place}`, () => token);
  const client = new Client({
    connect: webSocket(`ws://${place}/ws`, (url) => new Socket(url) as unknown as WebSocket),
    user,
    password,
    catchUp: (signal) => gateway.takeUnread(signal),
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
