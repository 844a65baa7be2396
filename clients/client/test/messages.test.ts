import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { ConnectionError, MessageStatus, newMessageId } from '@vnq/client/node';
import { alice, ben, carol, team, TestServer, until, wangfang } from '../../testing/server';
import { clientOf, join, textsOf } from './people';

let server: TestServer;
before(async () => void (server = await TestServer.start()));
after(() => server.stop());

const everyKind = '你好 Ben|#\n"%41" .+y|# 😀 é\u00ff \\ \' <b>&';

test('send: the text arrives as it was typed, and the sender hears how far it is', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const statuses: MessageStatus[] = [];
  a.on('status', (status) => statuses.push(status));
  const arrived = b.next('message');
  const delivered = a.next('status', ({ status }) => status === 'delivered');
  const { id } = await a.send(ben.userId, everyKind);
  const message = await arrived;
  assert.equal(message.text, everyKind);
  assert.equal(message.userId, alice.userId);
  assert.equal(message.isOwn, false);
  assert.equal(message.id, id);
  assert.match(message.date, /^\d{4}-\d\d-\d\d$/);
  await delivered;
  // The two receipts come by different ways, and in either order.
  assert.deepEqual(statuses.map(({ status }) => status).sort(), ['delivered', 'queued', 'sent', 'stored']);
  assert.ok(statuses.every((status) => status.id === id));
  assert.deepEqual(a.unconfirmed, []);
});

test('send: a long text arrives whole', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const text = '长文 long text. '.repeat(400);
  const arrived = b.next('message');
  await a.send(ben.userId, text);
  assert.equal((await arrived).text, text);
});

test('send: many at once arrive in order, each once', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const texts = textsOf(b);
  const sent = Array.from({ length: 200 }, (_, i) => `line ${i}`);
  await Promise.all(sent.map((text) => a.send(ben.userId, text)));
  await until(() => texts.length >= sent.length, () => `${texts.length} texts`);
  assert.deepEqual(texts, sent);
});

test('send: the same id again is stored and handed out once', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const texts = textsOf(b);
  const id = newMessageId();
  await a.send(ben.userId, 'once', { id });
  await a.send(ben.userId, 'once', { id });
  await a.send(ben.userId, 'end');
  await until(() => texts.includes('end'), () => texts.join());
  assert.deepEqual(texts, ['once', 'end']);
  assert.equal(server.history(ben.user, '--search', 'once').length, 1);
});

test('send: before the log-in it waits; a signal withdraws it', async (t) => {
  const b = await join(t, server, ben);
  const texts = textsOf(b);
  const client = clientOf(server, alice);
  t.after(() => client.close());
  const stop = new AbortController();
  const given = client.send(ben.userId, 'never', { signal: stop.signal });
  const kept = client.send(ben.userId, 'early');
  assert.equal(client.unconfirmed.length, 2);
  stop.abort();
  await assert.rejects(given, { name: 'AbortError' });
  await client.login();
  await kept;
  await until(() => texts.length > 0, () => 'no text');
  assert.deepEqual(texts, ['early']);
});

test('send: a target that the wire cannot carry is refused at once', async () => {
  const client = clientOf(server, alice);
  await assert.rejects(client.send('2|3', 'x'), { name: 'RecordError' });
  assert.deepEqual(client.unconfirmed, []);
});

test('sendToGroup: every member who is there gets it once, the sender does not', async (t) => {
  const [a, b, w, c] = [
    await join(t, server, alice),
    await join(t, server, ben),
    await join(t, server, wangfang),
    await join(t, server, carol),
  ];
  const own = textsOf(a);
  const foreign = textsOf(c);
  const arrived = [b, w].map((client) => client.next('groupMessage'));
  const { id } = await a.sendToGroup(team, 'to all 大家');
  for (const message of await Promise.all(arrived)) {
    assert.equal(message.text, 'to all 大家');
    assert.equal(message.groupId, team);
    assert.equal(message.userId, alice.userId);
    assert.equal(message.id, id);
  }
  await a.send(carol.userId, 'end');
  await until(() => foreign.length > 0, () => 'no text');
  assert.deepEqual([own, foreign], [[], ['end']]);
});

test('retract: the other side is told which message', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const { id } = await a.send(ben.userId, 'a slip');
  const retracted = b.next('retract');
  a.retract({ userId: ben.userId }, id);
  assert.deepEqual(await retracted, { type: 'retract', userId: alice.userId, id });
  const inGroup = b.next('retract', ({ groupId }) => groupId !== undefined);
  a.retract({ groupId: team }, 'M7');
  assert.deepEqual(await inGroup, { type: 'retract', groupId: team, id: 'M7' });
});

test('nudge: the other side is told who', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const nudged = b.next('nudge');
  a.nudge(ben.userId);
  assert.equal((await nudged).userId, alice.userId);
});

test('postNotice: title, content and link arrive as they were typed', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const arrived = b.next('notice');
  a.postNotice({ receivers: [ben.userId], title: '放假 | 50%', content: 'two\nlines', link: 'http://in/?a=1' });
  const { title, content, link } = await arrived;
  assert.deepEqual({ title, content, link }, { title: '放假 | 50%', content: 'two\nlines', link: 'http://in/?a=1' });
});

test('transmit: without a session it is refused', () => {
  const client = clientOf(server, alice);
  assert.throws(() => client.nudge(ben.userId), ConnectionError);
});
