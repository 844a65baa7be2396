// Everybody can use it: by keyboard, by screen reader, in the dark, on a phone, in Chinese. And what
// it weighs.
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import path from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

import { alice, ben, Deployment, team } from './deployment.js';

let deployment;
before(async () => (deployment = await new Deployment().start()));
afterEach(async () => {
  await deployment.allLeave();
  assert.deepEqual(deployment.complaints.splice(0), []);
});
after(() => deployment.stop());

const looks = {
  light: {},
  dark: { colorScheme: 'dark' },
  'on a phone in Chinese': { viewport: { width: 390, height: 780 }, isMobile: true, hasTouch: true, locale: 'zh-CN' },
};

for (const [name, look] of Object.entries(looks)) {
  test(`axe finds nothing on any view, ${name}`, async () => {
    const b = await deployment.comes(ben);
    const a = await deployment.person(alice, look);
    const findsNothing = async (where) => assert.deepEqual(await a.axeFindings(), [], `${name}: ${where}`);
    const dialogHas = async (button, where) => {
      await button.click();
      await a.page.locator('dialog').waitFor();
      await findsNothing(where);
      await a.page.keyboard.press('Escape');
      await a.page.locator('dialog').waitFor({ state: 'detached' });
    };
    const back = async () => {
      const button = a.page.locator('.head .phone-only');
      if (await button.isVisible()) await button.click();
    };
    await findsNothing('log-in');
    await a.logIn('wrong');
    await a.page.locator('.trouble').waitFor();
    await findsNothing('refused log-in');
    await a.logIn();
    await a.ready();
    for (const tab of [/People|通讯录/, /Visitors|访客/, /Requests|申请/, /Chats|会话/]) {
      await a.tab(tab).click();
      await findsNothing(tab);
    }
    const tools = a.page.locator('.tools button');
    await dialogHas(tools.nth(0), 'new group');
    await dialogHas(tools.nth(1), 'join a group');
    await dialogHas(a.page.locator('.me button'), 'settings');
    await a.page.locator('.me button').click();
    await dialogHas(a.page.locator('dialog footer button').first(), 'profile and password');

    await a.open(ben.name);
    await a.write('hello 你好 https://intra.example/');
    await a.hasStatus('hello', 'delivered');
    await b.open(alice.name);
    await b.write('and back');
    await a.sees('and back');
    await findsNothing('conversation');
    await dialogHas(a.page.locator(`.head button[aria-label="${ben.name}"]`), 'person');
    await back();
    await a.open(team.name);
    await a.write('to all');
    await findsNothing('group');
    await a.page.locator('.head button').last().click();
    await a.page.locator('dialog summary').click();
    await a.page.locator('.members li').first().waitFor();
    await findsNothing('about the group');
    await a.page.keyboard.press('Escape');
    await back();
    await a.tab(/Chats|会话/).click();
    await a.row(/Notices|公告/).click();
    await findsNothing('notices');
    await dialogHas(a.page.locator('.head button').last(), 'new notice');
    await back();
    await a.page.locator('#search').fill('你好');
    await a.page.locator('.panel section .row').first().waitFor();
    await findsNothing('search');
    await a.page.locator('#search').fill('');

    await deployment.killServer();
    await a.page.locator('.bar').waitFor();
    await findsNothing('without a connection');
    await deployment.startServer();
    await a.page.locator('.bar').waitFor({ state: 'detached' });
  });
}

test('keyboard: from the log-in to a sent message without a mouse', async () => {
  const a = await deployment.person(alice);
  const { keyboard } = a.page;
  await a.page.locator('input[autocomplete=username]').focus();
  await keyboard.type(alice.user);
  await keyboard.press('Tab');
  await keyboard.type(alice.password);
  await keyboard.press('Enter');
  await a.ready();
  await keyboard.press('Control+k');
  await keyboard.type('carter');
  await a.row(ben.name).waitFor();
  await keyboard.press('Tab');
  for (let i = 0; i < 12; ++i) {
    if (await a.page.evaluate(() => document.activeElement.classList.contains('row'))) break;
    await keyboard.press('Tab');
  }
  await keyboard.press('Enter');
  await a.page.locator('.head h2', { hasText: ben.name }).waitFor();
  await keyboard.type('typed only');
  await keyboard.press('Enter');
  await a.hasStatus('typed only', 'stored');
});

test('keyboard: arrows go through a list, Escape closes a dialog and gives the focus back', async () => {
  const a = await deployment.comes(alice);
  await a.tab('People').click();
  const rows = a.page.locator('.panel .row');
  await rows.first().focus();
  await a.page.keyboard.press('ArrowDown');
  assert.ok(await rows.nth(1).evaluate((row) => row === document.activeElement));
  const settings = a.page.locator('.me button');
  await settings.focus();
  await a.page.keyboard.press('Enter');
  await a.page.locator('dialog').waitFor();
  await a.page.keyboard.press('Escape');
  await a.page.locator('dialog').waitFor({ state: 'detached' });
  assert.ok(await settings.evaluate((button) => button === document.activeElement));
});

test('settings: appearance and language change at once and last', async () => {
  const a = await deployment.comes(alice);
  await a.page.locator('.me button').click();
  await a.page.locator('dialog select').nth(1).selectOption('dark');
  await a.page.locator('dialog select').nth(2).selectOption('zh');
  await a.tab('通讯录').waitFor();
  await a.page.reload();
  await a.page.locator('button', { hasText: '登录' }).waitFor();
  const root = await a.page.evaluate(() => [document.documentElement.dataset.theme, document.documentElement.lang]);
  assert.deepEqual(root, ['dark', 'zh-CN']);
});

test('content security policy: no exceptions, and nothing on the page needs one', async () => {
  const { headers } = await fetch(deployment.url);
  const policy = headers.get('content-security-policy');
  assert.match(policy, /default-src/);
  assert.doesNotMatch(policy, /unsafe|data:|\*/);
  const page = readFileSync(new URL('../dist/index.html', import.meta.url), 'utf8');
  assert.doesNotMatch(page, /<script(?![^>]*src=)|<style|style=|onclick|data:/);
});

test('weight: what a visit loads is below 150 KB compressed', () => {
  const folder = fileURLToPath(new URL('../dist', import.meta.url));
  const files = readdirSync(path.join(folder, 'assets')).map((name) => path.join(folder, 'assets', name));
  const weight = (names) => names.reduce((sum, name) => sum + gzipSync(readFileSync(name)).length, 0);
  const all = weight([...files, path.join(folder, 'index.html')]);
  assert.ok(all < 150_000, `all files together: ${all} bytes`);
});
