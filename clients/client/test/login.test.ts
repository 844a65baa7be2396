import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { ConnectionError, LoginError, tcp } from '@vnq/client/node';
import { alice, ben, carol, TestServer, wangfang } from '../../testing/server';
import { clientOf, join } from './people';

let server: TestServer;
before(async () => void (server = await TestServer.start()));
after(() => server.stop());

test('login: resolves when others can see the user', async (t) => {
  const watcher = await join(t, server, ben);
  const seen = watcher.next('presence', ({ state }) => state === 'online');
  const client = clientOf(server, alice);
  t.after(() => client.close());
  const who = await client.login();
  assert.equal(who.userId, alice.userId);
  assert.equal(client.userId, alice.userId);
  assert.equal(client.state, 'ready');
  assert.deepEqual((await seen).userIds, [alice.userId]);
});

test('login: a wrong password is told and not tried again', async () => {
  const client = clientOf(server, { ...alice, password: 'wrong' });
  await assert.rejects(client.login({ keepTrying: true }), (error: unknown) => {
    assert.ok(error instanceof LoginError);
    assert.equal(error.reason, 'credentials');
    return true;
  });
  assert.equal(client.state, 'closed');
});

test('login: a disabled account is told', async () => {
  server.ctl('user', 'disable', carol.user);
  const client = clientOf(server, carol);
  await assert.rejects(client.login(), (error: unknown) => (error as LoginError).reason === 'disabled');
  server.ctl('user', 'enable', carol.user);
});

test('login: a name that the wire cannot carry is refused before it is sent', async () => {
  const client = clientOf(server, { ...alice, password: 'a|b' });
  await assert.rejects(client.login(), LoginError);
});

test('login: a server that is not there is a ConnectionError', async () => {
  const client = clientOf(server, alice, { connect: tcp({ host: server.address, port: 6999 }) });
  await assert.rejects(client.login(), ConnectionError);
  assert.equal(client.state, 'closed');
});

test('login: keepTrying waits for a server; a signal ends that', async () => {
  const client = clientOf(server, alice, { connect: tcp({ host: server.address, port: 6999 }) });
  const stop = new AbortController();
  let tries = 0;
  client.on('ended', () => ++tries === 3 && stop.abort());
  await assert.rejects(client.login({ keepTrying: true, signal: stop.signal }), { name: 'AbortError' });
  assert.equal(client.state, 'closed');
  assert.equal(tries, 3);
});

test('login: close() while it runs rejects it', async () => {
  const client = clientOf(server, alice);
  const login = client.login();
  client.close();
  await assert.rejects(login, ConnectionError);
});

test('login: the same user elsewhere ends the session for good', async (t) => {
  const first = await join(t, server, wangfang);
  const ended = first.next('ended');
  await join(t, server, wangfang);
  const end = await ended;
  assert.equal(end.kind, 'replaced');
  assert.equal(end.retryIn, undefined);
  assert.equal(first.state, 'closed');
});

test('login: a phone logs in beside the desktop', async (t) => {
  const desktop = await join(t, server, wangfang);
  const phone = await join(t, server, wangfang, { device: 'phone', presence: 'phone' });
  assert.equal(phone.userId, wangfang.userId);
  const copy = phone.next('message', ({ isOwn }) => isOwn);
  await desktop.send(alice.userId, 'from the desk');
  assert.equal((await copy).text, 'from the desk');
});

test('logout: others see the user leave', async (t) => {
  const watcher = await join(t, server, ben);
  const client = await join(t, server, wangfang);
  const gone = watcher.next('presence', ({ state }) => state === 'offline');
  await client.logout();
  assert.deepEqual((await gone).userIds, [wangfang.userId]);
  assert.equal(client.state, 'closed');
});

test('setPresence: others see away, back and invisible', async (t) => {
  const watcher = await join(t, server, ben);
  const client = await join(t, server, wangfang);
  for (const state of ['away', 'online', 'offline'] as const) {
    const seen = watcher.next('presence', (presence) => presence.state === state);
    client.setPresence(state);
    assert.deepEqual((await seen).userIds, [wangfang.userId]);
  }
});

test('keep-alive: a silent session stays', async (t) => {
  const client = await join(t, server, wangfang, { timing: { keepAlive: 50, echo: 5_000 } });
  await new Promise((resolve) => setTimeout(resolve, 400));
  assert.equal(client.state, 'ready');
});

test('keep-alive: a server that does not answer is given up', async (t) => {
  const client = await join(t, server, wangfang, { reconnect: false, timing: { keepAlive: 50, echo: 500 } });
  const ended = client.next('ended', undefined, { timeout: 10_000 });
  server.freeze(true);
  t.after(() => server.freeze(false));
  assert.equal((await ended).kind, 'lost');
});
