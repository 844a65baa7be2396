// The visitor widget on the page of a company whose styles would break anything that is not shut off.

import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import assert from 'node:assert/strict';
import type { Page } from 'playwright-core';
import { outgoing } from '@vnq/protocol';
import { Deployment, until, type User } from '../gateway/test/deployment';
import { clients, closeBrowser, desk, phone, picture, problems, Site, somebody, temporaryFolder } from './browser';

const deployment = new Deployment();
const folder = temporaryFolder();
const flags = ['--agents', '1,2', '--visitor-data', join(folder.path, 'visitors'), '--widget', join(clients, 'widget/dist/widget.js')];
let site: Site;
let alice: User;

before(async () => {
  site = await new Site().start();
  await deployment.start(...flags);
  alice = await deployment.login('alice');
});
afterEach(() => assert.deepEqual(problems.splice(0), []));
after(async () => {
  await closeBrowser();
  site.stop();
  await deployment.stop();
  folder.remove();
});

const gateway = () => `http://${deployment.address}:${deployment.port}`;

function page(attributes: string, script = `<script src="${gateway()}/widget.js" ${attributes}></script>`): string {
  return `<!doctype html><html lang="en"><meta name="viewport" content="width=device-width, initial-scale=1">
    <title>Company</title>
    <style>* { color: red !important; font: 30px fantasy !important; } button, textarea, p { display: none !important; }</style>
    <h1>Company</h1><main style="height: 3000px">Products</main>${script}</html>`;
}

const usual = () => `data-gateway="${gateway()}" data-agents="1" data-city="Lyon"`;

async function visit(html: string, look = {}): Promise<Page> {
  site.html = html;
  const context = await somebody(look);
  const opened = await context.newPage();
  await opened.goto(site.address);
  return opened;
}

const launcher = (on: Page) => on.locator('vnq-visitor-chat .launcher');
const lines = (on: Page) => on.locator('vnq-visitor-chat .lines .text').allInnerTexts();

async function visitorId(words: string): Promise<string> {
  const record = () => alice.wire.records.find((each) => each.startsWith('.+customer_information|') && each.includes(words));
  await until(record, `${words} at the agent`);
  return record()!.split('|')[1];
}

async function write(on: Page, text: string): Promise<void> {
  await on.locator('vnq-visitor-chat textarea[aria-label]').fill(text);
  await on.keyboard.press('Enter');
}

test('widget: a visitor asks on a phone and reads the agent\'s answer', async () => {
  const visitor = await visit(page(usual()), { viewport: phone });
  await launcher(visitor).click();
  const panel = await visitor.locator('vnq-visitor-chat .panel').boundingBox();
  assert.deepEqual([panel?.x, panel?.y, panel?.width, panel?.height], [0, 0, 390, 844]);
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  await write(visitor, 'Is the manual there in 中文?');
  const id = await visitorId('Is%20the%20manual');
  alice.wire.send(outgoing.message({ target: id, sender: '1', text: 'Yes: 手册在第二页 <b>bold?</b>', id: `P${id}` }));
  await visitor.locator('.lines >> text=手册在第二页').waitFor();
  assert.deepEqual((await lines(visitor)).slice(1), ['Is the manual there in 中文?', 'Yes: 手册在第二页 <b>bold?</b>']);
  assert.equal(await visitor.locator('vnq-visitor-chat .own .state').innerText(), 'Sent');
  await picture(visitor, 'widget_phone');
  await visitor.context().close();
});

test('widget: lines and the open window stay over a reload, and an answer meanwhile is counted', async () => {
  const visitor = await visit(page(usual()));
  await launcher(visitor).click();
  await write(visitor, 'Question before the reload');
  const id = await visitorId('before%20the%20reload');
  await visitor.reload();
  await until(async () => (await lines(visitor)).length === 2, 'the line after the reload');
  await visitor.locator('vnq-visitor-chat .close').click();
  alice.wire.send(outgoing.message({ target: id, sender: '1', text: 'Answer', id: `R${id}` }));
  await until(async () => (await visitor.locator('vnq-visitor-chat .badge').innerText()) === '1', 'the badge');
  assert.equal(await launcher(visitor).getAttribute('aria-label'), 'Open the chat, 1 unread');
  const drawn = await visitor.locator('vnq-visitor-chat .launcher path').evaluate((path: any) => path.getBBox().width);
  assert.ok(drawn > 19, `the launcher's picture is ${drawn} of 24 wide`);
  await picture(visitor, 'widget_badge');
  await visitor.reload();
  await until(async () => (await visitor.locator('vnq-visitor-chat .badge').innerText()) === '1', 'the badge after a reload');
  await launcher(visitor).click();
  assert.deepEqual((await lines(visitor)).slice(1), ['Question before the reload', 'Answer']);
  await visitor.locator('vnq-visitor-chat .close').click();
  await visitor.reload();
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  assert.equal(await visitor.locator('vnq-visitor-chat .badge').isVisible(), false);
  await visitor.context().close();
});

test('widget: when nobody is there a form is offered', async () => {
  const visitor = await visit(page(`data-gateway="${gateway()}" data-agents="2" data-open`), { locale: 'en-GB' });
  await visitor.getByLabel('Your name').fill('Zoé');
  await visitor.getByLabel('E-mail or telephone').fill('zoe@example.com');
  await visitor.locator('vnq-visitor-chat form.leave textarea').fill('Please call me');
  await picture(visitor, 'widget_form');
  await visitor.getByRole('button', { name: 'Leave the message' }).click();
  await visitor.locator('.note >> text=We have your message').waitFor();
  const ben = await deployment.login('ben');
  ben.wire.send(outgoing.offlineRequest('2'));
  await ben.wire.saw('Please%20call%20me');
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  ben.wire.close();
  await visitor.context().close();
});

test('widget: the styles of the site stay outside, and contrast is enough in light and dark', async () => {
  const axe = readFileSync(join(clients, 'node_modules/axe-core/axe.min.js'), 'utf8');
  for (const colorScheme of ['light', 'dark'] as const) {
    const visitor = await visit(page(`${usual()} data-open data-language="zh"`), { viewport: desk, colorScheme });
    await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
    await write(visitor, '请问手册在哪里？');
    await visitor.locator('.state >> text=已发送').waitFor();
    await picture(visitor, `widget_${colorScheme}`);
    const looks = await visitor.locator('vnq-visitor-chat .own .text').evaluate((element) => getComputedStyle(element).fontSize);
    assert.equal(looks, '16px');
    await visitor.evaluate(axe);
    const { violations } = await visitor.evaluate(() => (window as any).axe.run('vnq-visitor-chat', { runOnly: ['wcag2a', 'wcag2aa', 'wcag21aa'] }));
    assert.deepEqual(violations.map(({ id, nodes }: any) => `${id}: ${nodes.map((node: any) => node.target).join(' ')}`), []);
    await visitor.context().close();
  }
});

test('widget: five languages, own title and texts, and destroy() leaves nothing', async () => {
  for (const [language, title] of [['de', 'Chatten Sie mit uns'], ['fr', 'Discutez avec nous'], ['es', 'Hable con nosotros'], ['zh-CN', '在线咨询'], ['pt', 'Chat with us']]) {
    const visitor = await visit(page(`${usual()} data-open data-language="${language}"`));
    assert.equal(await visitor.locator('vnq-visitor-chat h2').innerText(), title);
    await visitor.context().close();
  }
  const visitor = await visit(page(`${usual()} data-open data-title="Ask <us>" data-texts='{"send":"Go"}'`));
  assert.equal(await visitor.locator('vnq-visitor-chat h2').innerText(), 'Ask <us>');
  assert.equal(await visitor.locator('vnq-visitor-chat form:not(.leave) .send').innerText(), 'Go');
  await visitor.evaluate(() => (window as any).VNQVisitorChat.widget.destroy());
  assert.equal(await visitor.locator('vnq-visitor-chat').count(), 0);
  await visitor.context().close();
});

test('widget: a keyboard is enough', async () => {
  const visitor = await visit(page(usual()));
  await visitor.keyboard.press('Tab');
  await visitor.keyboard.press('Enter');
  await visitor.keyboard.type('By keyboard');
  await visitor.keyboard.press('Enter');
  await visitorId('By%20keyboard');
  await visitor.keyboard.press('Escape');
  assert.equal(await launcher(visitor).isVisible(), true);
  assert.equal(await visitor.evaluate(() => document.activeElement?.shadowRoot?.activeElement?.className), 'launcher');
  await visitor.context().close();
});

test('widget: works under a site\'s content security policy', async () => {
  site.headers = { 'Content-Security-Policy': `default-src 'self'; script-src ${gateway()}; style-src 'none'; connect-src ${gateway().replace('http', 'ws')}` };
  const visitor = await visit(page(`${usual()} data-open`));
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  assert.equal(await visitor.locator('vnq-visitor-chat .panel').evaluate((element) => getComputedStyle(element).borderRadius), '14px');
  site.headers = {};
  await visitor.context().close();
});

test('widget: one way into the visitor port, without a gateway', async () => {
  const visitor = await visit(page(`data-one-way="ws://${deployment.address}:6001/" data-agents="1" data-code-page="936" data-open`));
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  await write(visitor, 'One way 单向');
  await visitorId('One%20way%20%u5355');
  await visitor.locator('.state >> text=Sent').waitFor();
  assert.match((await lines(visitor))[0], /Answers do not appear here/);
  await visitor.context().close();
});

test('widget: the server\'s death and return lose and double nothing', async () => {
  const visitor = await visit(page(usual()));
  await launcher(visitor).click();
  await visitor.locator('vnq-visitor-chat .root[data-state=here]').waitFor();
  await write(visitor, 'Said before the crash');
  const id = await visitorId('before%20the%20crash');
  await deployment.endServer('SIGKILL');
  await write(visitor, 'Said during the crash');
  await deployment.startServer();
  alice = await deployment.login('alice');
  await visitorId('during%20the%20crash');
  await alice.write(id, 'Answer after the crash', `X${id}`);
  await visitor.locator('.lines >> text=Answer after the crash').waitFor();
  assert.deepEqual((await lines(visitor)).slice(1), ['Said before the crash', 'Said during the crash', 'Answer after the crash']);
  assert.equal(alice.wire.records.filter((each) => each.includes('during%20the%20crash')).length, 1);
  await visitor.context().close();
});
