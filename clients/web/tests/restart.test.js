// The server is killed in the middle and comes back; so does the gateway. Nothing lost, nothing doubled.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { alice, ben, Deployment, team, until } from './deployment.js';

let deployment;
before(async () => (deployment = await new Deployment().start()));
after(() => deployment.stop());

test('restart: both sides see every line once, what was typed meanwhile included', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.open(ben.name);
  await b.open(alice.name);
  const expected = [];
  const write = async (text) => {
    expected.push(text);
    await a.write(text);
  };
  for (let i = 0; i < 5; ++i) await write(`before ${i}`);
  // Some of these are on their way when the server dies.
  await deployment.killServer();
  for (let i = 0; i < 5; ++i) await write(`while down ${i}`);
  await a.page.locator('.bar').waitFor();
  await a.screenshot('web_reconnecting');
  await deployment.startServer();
  await a.page.locator('.bar').waitFor({ state: 'detached' });
  await b.page.locator('.bar').waitFor({ state: 'detached' });
  for (let i = 0; i < 5; ++i) await write(`after ${i}`);
  await b.sees('after 4');
  await a.hasStatus('after 4', 'delivered');
  for (const person of [a, b]) {
    await until(async () => (await person.texts()).length >= expected.length, 'all lines');
    assert.deepEqual([...(await person.texts())].sort(), [...expected].sort());
  }
  const stored = deployment.history(alice.user).map(({ text }) => text);
  assert.deepEqual(stored.sort(), [...expected].sort());
});

test('restart: a group goes on after the gateway has gone and come back', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.open(team.name);
  await b.open(team.name);
  await a.write('one');
  await b.sees('one');
  await deployment.gateway.stop('SIGKILL');
  await a.write('two');
  await a.page.locator('.bar').waitFor();
  await deployment.startGateway();
  await b.sees('two');
  assert.deepEqual(await b.texts(), ['one', 'two']);
  await a.hasStatus('two', 'stored');
});

test('reload: what could not be sent is sent after the next log-in', async () => {
  const a = await deployment.comes(alice);
  await a.open(ben.name);
  await deployment.killServer();
  await a.write('kept over a reload');
  await a.page.locator('.bar').waitFor();
  await a.page.reload();
  await deployment.startServer();
  await a.logIn();
  await a.ready();
  // The address still names the conversation.
  await a.page.locator('.head h2', { hasText: ben.name }).waitFor();
  await a.hasStatus('kept over a reload', 'stored');
  assert.equal(deployment.history(ben.user, '--search', 'kept over').length, 1);
});
