import assert from 'node:assert/strict';
import { test } from 'node:test';

import { OutboxItem, StorageOutbox } from '@vnq/client';
import { Outbox } from '../src/outbox';

const item = (id: string): OutboxItem => ({ id, kind: 'user', target: '2', text: id });

function storage(): Pick<Storage, 'getItem' | 'setItem'> & { values: Map<string, string> } {
  const values = new Map<string, string>();
  return { values, getItem: (key) => values.get(key) ?? null, setItem: (key, value) => void values.set(key, value) };
}

const memory = { load: () => [], save: () => undefined };

test('Outbox: is due once, then again when no receipt comes, each time later', () => {
  const outbox = new Outbox(memory, 100);
  void outbox.add(item('A'));
  const ids = (now: number) => outbox.due(now).map(({ id }) => id);
  assert.deepEqual([ids(0), ids(50), ids(100), ids(250), ids(300)], [['A'], [], ['A'], [], ['A']]);
  outbox.forgetTries();
  assert.deepEqual(ids(301), ['A']);
});

test('Outbox: keeps the order, and forgets what is confirmed', async () => {
  const outbox = new Outbox(memory, 100);
  const first = outbox.add(item('A'));
  void outbox.add(item('B'));
  assert.deepEqual(outbox.items.map(({ id }) => id), ['A', 'B']);
  assert.equal(outbox.confirm('A'), true);
  await first;
  assert.equal(outbox.confirm('A'), false);
  assert.deepEqual(outbox.due(0).map(({ id }) => id), ['B']);
});

test('Outbox: what is withdrawn rejects', async () => {
  const outbox = new Outbox(memory, 100);
  const given = outbox.add(item('A'));
  outbox.withdraw('A', new Error('withdrawn'));
  await assert.rejects(given, /withdrawn/);
  assert.deepEqual(outbox.items, []);
});

test('StorageOutbox: another page finds what is left; junk is an empty outbox', () => {
  const place = storage();
  const outbox = new Outbox(new StorageOutbox(place, 'key'), 100);
  void outbox.add(item('A'));
  assert.deepEqual(new StorageOutbox(place, 'key').load(), [item('A')]);
  for (const junk of ['{', '{}', 'null']) {
    place.values.set('key', junk);
    assert.deepEqual(new StorageOutbox(place, 'key').load(), []);
  }
});
