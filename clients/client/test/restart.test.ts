// The server ends in the middle, by SIGKILL, and comes back: nothing is lost, nothing is doubled.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join as joinPath } from 'node:path';
import { test } from 'node:test';

import { FileOutbox, type CatchUp } from '@vnq/client/node';
import { alice, ben, team, TestServer, until } from '../../testing/server';
import { clientOf, join, missedBy, textsOf } from './people';

async function serverFor(t: { after(f: () => Promise<void>): void }, number: number): Promise<TestServer> {
  const server = await TestServer.start(number);
  t.after(() => server.stop());
  return server;
}

test('restart: killed three times under load, every message is stored and handed out once', async (t) => {
  const server = await serverFor(t, 1);
  const a = await join(t, server, alice);
  const b = await join(t, server, ben, { catchUp: missedBy(server, ben) });
  const texts = textsOf(b);
  const sent: Promise<unknown>[] = [];
  const expected: string[] = [];
  for (let round = 0; round < 4; ++round) {
    for (let i = 0; i < 25; ++i) {
      const text = `round ${round} line ${i}`;
      expected.push(text);
      sent.push(i % 2 === 0 ? a.send(ben.userId, text) : a.sendToGroup(team, text));
    }
    if (round === 3) break;
    // Some of them are on their way, some are stored, of some the receipt is lost.
    await Promise.race(sent.slice(-25));
    await server.kill('SIGKILL');
    await server.run();
  }
  await Promise.all(sent);
  await until(
    () => b.state === 'ready' && texts.length >= expected.length,
    () => `${texts.length} of ${expected.length}: ${expected.filter((text) => !texts.includes(text)).join()}`,
  );
  assert.deepEqual([...texts].sort(), [...expected].sort());
  const stored = server.history(alice.user).map(({ text }) => text);
  assert.deepEqual(stored.sort(), [...expected].sort());
  assert.deepEqual(a.unconfirmed, []);
});

test('restart: both sides come back by themselves after an orderly stop', async (t) => {
  const server = await serverFor(t, 2);
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const ended = a.next('ended');
  await server.kill();
  assert.equal((await ended).kind, 'serverEnds');
  const back = Promise.all([a.next('ready'), b.next('ready')]);
  const waiting = a.send(ben.userId, 'while it was down');
  await server.run();
  assert.deepEqual((await back).map(({ isFirst }) => isFirst), [false, false]);
  await waiting;
});

test('restart: what came while nobody was there is handed out in order, before what comes live', async (t) => {
  const server = await serverFor(t, 3);
  const a = await join(t, server, alice);
  for (const text of ['one', 'two 二', 'three']) await a.send(ben.userId, text);
  const b = clientOf(server, ben, { catchUp: missedBy(server, ben) });
  t.after(() => b.close());
  const texts = textsOf(b);
  await b.login();
  await a.send(ben.userId, 'live');
  await until(() => texts.length >= 4, () => texts.join());
  assert.deepEqual(texts, ['one', 'two 二', 'three', 'live']);
});

test('catchUp: one that fails is told, and the session goes on', async (t) => {
  const server = await serverFor(t, 4);
  const b = clientOf(server, ben, {
    catchUp: {
      async *missed() {
        throw new Error('no history');
      },
    },
  });
  t.after(() => b.close());
  const trouble = b.next('trouble');
  await b.login();
  assert.equal((await trouble).message, 'no history');
  assert.equal(b.state, 'ready');
});

test('catchUp: one that does not answer keeps the session waiting for a while only', async (t) => {
  const server = await serverFor(t, 6);
  const catchUp: CatchUp = {
    async *missed() {
      yield await new Promise<never>(() => undefined);
    },
  };
  const b = clientOf(server, ben, { catchUp, timing: { catchUp: 100 } });
  t.after(() => b.close());
  const trouble = b.next('trouble');
  await b.login();
  assert.match((await trouble).message, /did not answer within 100 ms/);
});

test('FileOutbox: what the server has not taken is sent by the next run', async (t) => {
  const server = await serverFor(t, 5);
  const folder = mkdtempSync(joinPath(tmpdir(), 'vnq_outbox_'));
  t.after(() => rmSync(folder, { recursive: true }));
  const file = joinPath(folder, 'outbox.json');
  const first = clientOf(server, alice, { outbox: new FileOutbox(file) });
  void first.send(ben.userId, 'kept 留');
  first.close();
  const second = await join(t, server, alice, { outbox: new FileOutbox(file) });
  await until(() => second.unconfirmed.length === 0, () => 'it is still there');
  assert.deepEqual(server.history(ben.user).map(({ text }) => text), ['kept 留']);
  assert.deepEqual(new FileOutbox(file).load(), []);
});
