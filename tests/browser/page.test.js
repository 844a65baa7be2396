// The visitor page in a real browser, against the real server, with an agent who reads.

import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';

import { chromium } from 'playwright-core';

import { Deployment, screenshotFolder, until } from './deployment.js';

const deployment = new Deployment();
const profile = mkdtempSync(path.join(tmpdir(), 'vnq_profile_'));
const problems = [];
let agent, browser, page, address;

before(async () => {
  await deployment.start();
  agent = await deployment.agent('alice', 'alice-pw-1');
  address = await deployment.servePage({
    agents: ['1', '2'],
    city: '上海',
    codePage: 936,
    paceMs: 100,
    language: 'zh',
  });
  browser = await chromium.launchPersistentContext(profile, {
    executablePath: process.env.VNQ_CHROMIUM ?? '/usr/bin/chromium',
    headless: true,
    args: [
      '--no-sandbox',
      '--disable-gpu',
      '--no-first-run',
      '--disable-background-networking',
      '--disable-component-update',
      '--disable-sync',
    ],
    viewport: { width: 520, height: 720 },
  });
  page = await browser.newPage();
  page.on('pageerror', (error) => problems.push(String(error)));
  await page.goto(address);
});
after(async () => {
  await browser?.close();
  await deployment.stop();
  rmSync(profile, { recursive: true, force: true });
});

const state = () => page.locator('.vc').getAttribute('data-state');
const isOpen = () => until(async () => (await state()) === 'open', () => 'an open connection');

// Chinese text of some characters that no other line of the test begins with.
function chinese(count, salt) {
  let text = '';
  for (let i = 0; i < count; i++) text += String.fromCodePoint(0x4e00 + ((salt + i * 37) % 6000));
  return text;
}

async function type(text) {
  await page.locator('.vc-input').pressSequentially(text);
  await page.locator('.vc-send').click();
}

// What the agent's terminal shows of a visitor's line.
async function arrived(text) {
  await agent.saw(`: ${text}\n`);
}

test('the page connects and the agent is told who is there', async () => {
  await isOpen();
  await agent.saw('(上海)');
  assert.match(agent.output, /visitor web-[0-9a-f]{16} \(上海\) at [0-9:]{8}: 打开了咨询页面\n/);
});

for (const count of [1, 100, 2000]) {
  test(`a line of ${count} Chinese characters arrives whole`, async () => {
    const text = chinese(count, count);
    await type(text);
    await arrived(text);
    await until(
      async () => (await page.locator('.vc-line[data-state="sent"]').last().innerText()).includes(text),
      () => 'the line marked as sent',
    );
  });
}

test('characters that end fields, records and pieces arrive as they are', async () => {
  const text = 'a|b#c.+customer|1|x|#.+y|#%u4F60 <img src=x onerror=alert(1)> é € 😀 "\'';
  await type(text);
  await arrived(text);
  assert.equal(await page.locator('.vc-lines img').count(), 0);
});

test('lines that are typed in quick succession arrive in their order', async () => {
  for (const text of ['first of three', 'second of three', 'third of three']) await type(text);
  await arrived('third of three');
  const places = ['first', 'second', 'third'].map((word) => agent.output.indexOf(`${word} of three`));
  assert.deepEqual(places, places.toSorted((a, b) => a - b));
  assert.ok(places[0] > 0);
});

test('the page says that answers come by another road', async () => {
  assert.match(await page.locator('.vc-note').innerText(), /回复不会显示在本窗口/);
});

test('a screenshot is kept', async () => {
  mkdirSync(screenshotFolder, { recursive: true });
  await page.locator('.vc-lines').evaluate((list) => (list.scrollTop = 0));
  await page.screenshot({ path: path.join(screenshotFolder, 'visitor_page.png') });
});

test('a reload keeps the visitor\'s name', async () => {
  const names = () => new Set(agent.output.match(/web-[0-9a-f]{16}/g));
  await page.reload();
  await isOpen();
  await until(
    () => agent.output.split('打开了咨询页面').length === 3,
    () => 'a second announcement',
  );
  assert.equal(names().size, 1);
});

test('a second tab has a name of its own', async () => {
  const tab = await browser.newPage();
  await tab.goto(address);
  await agent.saw('(上海)');
  await until(
    () => new Set(agent.output.match(/web-[0-9a-f]{16}/g)).size === 2,
    () => 'a second name',
  );
  await tab.close();
});

test('a lost connection is shown, and what is typed meanwhile leaves afterwards', async () => {
  await deployment.stopServer();
  await until(async () => ['waiting', 'connecting'].includes(await state()), () => 'a lost connection');
  await type('typed while away');
  assert.equal(await page.locator('.vc-line').last().getAttribute('data-state'), 'waiting');
  await deployment.startServer();
  agent = await deployment.agent('alice', 'alice-pw-1');
  await arrived('typed while away');
});

test('no error was thrown in the page', () => assert.deepEqual(problems, []));
