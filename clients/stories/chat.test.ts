// Colleagues in browsers, against a real server and gateway. With VNQ_TEST_POSTGRES on that database.

import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { Deployment, until } from '../gateway/test/deployment';
import { clients, closeBrowser, phone, picture, problems, Site, somebody, temporaryFolder } from './browser';
import { Colleague } from './staff';

const deployment = new Deployment();
const folder = temporaryFolder();
const web = join(clients, 'web/dist');
const flags = ['--web', web, '--widget', join(clients, 'widget/dist/widget.js'), '--agents', '1,2', '--visitor-data', join(folder.path, 'visitors')];
const on = process.env.VNQ_TEST_POSTGRES ? 'postgresql_' : '';

before(() => deployment.start(...flags));
afterEach(() => assert.deepEqual(problems.splice(0), []));
after(async () => {
  await closeBrowser();
  await deployment.stop();
  folder.remove();
});

test('story: two people chat; one goes away, comes back and reads what came meanwhile exactly once', async () => {
  const alice = await Colleague.at(deployment, 'alice');
  const ben = await Colleague.at(deployment, 'ben', { colorScheme: 'dark' });
  await alice.open('Ben Carter');
  await ben.open('Alice Martin');
  await alice.write('你好 Ben, is the report ready? 😀');
  await ben.reads('你好 Ben, is the report ready? 😀');
  await ben.write('Yes - I send it at four. <b>');
  await alice.reads('你好 Ben, is the report ready? 😀', 'Yes - I send it at four. <b>');
  await picture(alice.page, `${on}chat_light`);
  await picture(ben.page, `${on}chat_dark`);
  await ben.leave();
  await alice.write('One while you are away');
  await alice.write('两条');
  await until(async () => (await alice.page.locator('li.line.own .status').last().innerText()).match(/Stored|Delivered/i), 'the receipt');
  const back = await Colleague.at(deployment, 'ben');
  await back.has(2, 'Alice Martin');
  await back.openChat('Alice Martin');
  await back.reads('你好 Ben, is the report ready? 😀', 'Yes - I send it at four. <b>', 'One while you are away', '两条');
  await back.has(0, 'Alice Martin');
  await back.page.reload();
  await back.logIn();
  await back.page.locator('.panel button.row', { hasText: 'Alice Martin' }).first().waitFor();
  assert.equal(await back.unreadAt('Alice Martin'), 0);
  await back.leave();
  await alice.leave();
});

test('story: a group, read by one who was there and one who was not', async () => {
  const group = '项目组 Project team';
  const alice = await Colleague.at(deployment, 'alice');
  const ben = await Colleague.at(deployment, 'ben', { viewport: phone });
  await alice.open(group);
  await alice.write('Meeting at ten');
  await ben.has(1, group);
  await ben.openChat(group);
  await ben.reads('Meeting at ten');
  await ben.write('十点见');
  await alice.reads('Meeting at ten', '十点见');
  await picture(ben.page, `${on}group_phone`);
  const wang = await Colleague.at(deployment, 'wangfang');
  await wang.has(2, group);
  await wang.openChat(group);
  await wang.reads('Meeting at ten', '十点见');
  for (const colleague of [alice, ben, wang]) await colleague.leave();
});

test('story: history is found in Chinese', async () => {
  const alice = await Colleague.at(deployment, 'alice');
  await alice.page.locator('#search').fill('十点');
  await alice.page.locator('.panel', { hasText: '十点见' }).waitFor();
  await picture(alice.page, `${on}search`);
  await alice.leave();
});

test('story: a visitor asks on a phone and reads what an agent answers in the staff client', async () => {
  const site = await new Site().start();
  const gateway = `http://${deployment.address}:${deployment.port}`;
  site.html = `<!doctype html><html lang="en"><meta name="viewport" content="width=device-width, initial-scale=1"><h1>Company</h1>
    <script src="${gateway}/widget.js" data-gateway="${gateway}" data-agents="1" data-city="Lyon"></script></html>`;
  const alice = await Colleague.at(deployment, 'alice');
  const visitor = await (await somebody({ viewport: phone })).newPage();
  await visitor.goto(site.address);
  await visitor.locator('vnq-visitor-chat .launcher').click();
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  await visitor.locator('vnq-visitor-chat form:not(.leave) textarea').fill('Do you ship to Lyon?');
  await visitor.keyboard.press('Enter');
  await alice.page.locator('nav.tabs button', { hasText: 'Visitors' }).click();
  await alice.page.locator('.panel button.row', { hasText: 'Do you ship to Lyon?' }).click();
  await alice.reads('Do you ship to Lyon?');
  await alice.write('Yes, within two days.');
  await visitor.locator('vnq-visitor-chat .lines >> text=within two days').waitFor();
  await alice.reads('Do you ship to Lyon?', 'Yes, within two days.');
  await picture(alice.page, `${on}visitor_agent`);
  await picture(visitor, `${on}visitor_phone`);
  await alice.page.reload();
  await alice.logIn();
  await alice.page.locator('nav.tabs button', { hasText: 'Visitors' }).click();
  await alice.page.locator('.panel button.row').first().click();
  await alice.reads('Do you ship to Lyon?', 'Yes, within two days.');
  await visitor.context().close();
  await alice.leave();
  site.stop();
});

test('story: the server is killed and started in the middle; nothing is lost, nothing doubled', async () => {
  const alice = await Colleague.at(deployment, 'alice');
  const ben = await Colleague.at(deployment, 'ben');
  await alice.open('Ben Carter');
  await ben.open('Alice Martin');
  const before = await ben.lines();
  for (let i = 1; i <= 3; ++i) await alice.write(`before ${i}`);
  await ben.reads(...before, 'before 1', 'before 2', 'before 3');
  for (let i = 1; i <= 3; ++i) await alice.write(`hurried ${i}`);
  await deployment.endServer('SIGKILL');
  for (let i = 1; i <= 3; ++i) await alice.write(`meanwhile ${i}`);
  await alice.page.locator('.bar').waitFor();
  await picture(alice.page, `${on}server_away`);
  await deployment.startServer();
  const all = [...before, ...['before', 'hurried', 'meanwhile'].flatMap((word) => [1, 2, 3].map((i) => `${word} ${i}`))];
  await ben.reads(...all);
  await alice.reads(...all);
  await until(async () => (await alice.page.locator('li.line.own .status.queued, li.line.own .status.sent').count()) === 0, 'all receipts');
  await ben.page.reload();
  await ben.logIn();
  await ben.openChat('Alice Martin');
  await ben.reads(...all);
  await ben.leave();
  await alice.leave();
});
