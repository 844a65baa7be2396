// People in browsers, against a real server and gateway.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { alice, ben, carol, Deployment, team, until, wangfang } from './deployment.js';

let deployment;
before(async () => (deployment = await new Deployment().start()));
afterEach(async () => {
  await deployment.allLeave();
  assert.deepEqual(deployment.complaints.splice(0), []);
});
after(() => deployment.stop());

const phone = { viewport: { width: 390, height: 780 }, isMobile: true, hasTouch: true };

test('log-in: a wrong password is told; the right one shows the company', async () => {
  const a = await deployment.person(alice);
  await a.logIn('wrong');
  await a.page.locator('.trouble', { hasText: 'no such user' }).waitFor();
  await a.screenshot('web_login');
  await a.logIn();
  await a.ready();
  await a.tab('People').click();
  for (const name of ['Ben Carter', '王芳', team.name]) await a.row(name).waitFor();
});

test('chat: texts go both ways, receipts go from stored to delivered, and markup stays text', async () => {
  const a = await deployment.comes(alice);
  const b = await deployment.comes(ben, { colorScheme: 'dark' });
  await a.open(ben.name);
  await a.write('你好 Ben, is the report ready? 😀');
  await b.open(alice.name);
  await b.sees('is the report ready');
  const nasty = '<img src=x onerror=alert(1)><b>bold</b> "quotes" |# .+y|# %41 https://intra.example/a?b=1';
  await b.write(nasty);
  await a.sees('<b>bold</b>');
  assert.ok((await a.texts()).includes(nasty));
  assert.equal(await a.page.locator('.lines img, .lines b').count(), 0);
  assert.equal(await a.page.locator('.lines a').getAttribute('href'), 'https://intra.example/a?b=1');
  await b.hasStatus(nasty, 'delivered');
  await a.write('one more, over\nseveral lines');
  await a.hasStatus('one more', 'delivered');
  await a.open(carol.name);
  await a.write('for somebody who is away');
  await a.hasStatus('for somebody', 'stored');
  await a.open(ben.name);
  await a.screenshot('web_light');
  await b.screenshot('web_dark');
});

test('receipts: "delivered" stays after a reload, also where it was read while the sender was away', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await b.open(carol.name);
  await a.open(ben.name);
  await a.write('came, not read yet');
  await a.hasStatus('came, not read yet', 'delivered');
  await b.leave();
  await a.write('while he is away');
  await a.hasStatus('while he is away', 'stored');
  await a.leave();
  const back = await deployment.comes(ben);
  await back.open(alice.name);
  await back.sees('while he is away');
  await until(() => deployment.history(ben.user, '--unread', '--with', alice.user).length === 0, 'it to be read');
  await back.leave();
  const again = await deployment.comes(alice);
  await again.open(ben.name);
  for (const text of ['came, not read yet', 'while he is away']) await again.hasStatus(text, 'delivered');
  await again.page.reload();
  await again.logIn();
  await again.ready();
  await again.hasStatus('came, not read yet', 'delivered');
});

test('away: what came meanwhile is counted, read once, and read for good', async () => {
  const a = await deployment.comes(alice);
  await a.open(wangfang.name);
  for (const text of ['first 一', 'second 二', 'third 三']) {
    await a.write(text);
    await a.hasStatus(text, 'stored');
  }
  const w = await deployment.comes(wangfang, { ...phone, locale: 'zh-CN' });
  await w.row(alice.name).locator('.badge', { hasText: '3' }).waitFor();
  assert.match(await w.page.title(), /^\(3\)/);
  await w.screenshot('web_phone_list');
  await w.row(alice.name).click();
  await w.sees('third');
  assert.deepEqual(await w.texts(), ['first 一', 'second 二', 'third 三']);
  await w.write('都看到了');
  await a.sees('都看到了');
  await w.screenshot('web_phone');
  await w.page.locator('.head .phone-only').click();
  assert.equal(await w.row(alice.name).locator('.badge').count(), 0);
  await w.page.reload();
  await w.logIn();
  await w.ready();
  await w.row(alice.name).waitFor();
  assert.equal(await w.page.locator('.badge').count(), 0);
  await w.row(alice.name).click();
  await w.sees('都看到了');
  assert.deepEqual(await w.texts(), ['first 一', 'second 二', 'third 三', '都看到了']);
});

test('presence: who closes the tab is seen to go at once', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.tab('People').click();
  await a.page.locator('.panel .row:not(.absent)', { hasText: ben.name }).waitFor();
  await b.page.goto('about:blank');
  await a.page.locator('.panel .row.absent', { hasText: ben.name }).waitFor({ timeout: 10_000 });
});

test('unread: a conversation that is not open counts, one that is open does not', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await b.open(carol.name);
  await b.tab('Chats').click();
  await a.open(ben.name);
  await a.write('are you there?');
  await b.row(alice.name).locator('.badge').waitFor();
  await b.row(alice.name).click();
  await b.sees('are you there?');
  await until(async () => (await b.page.locator('.badge').count()) === 0, 'no count');
  await a.write('good');
  await b.sees('good');
  assert.equal(await b.page.locator('.badge').count(), 0);
  // What was read as it came counts as read after the next log-in, too.
  await until(() => deployment.history(ben.user, '--unread', '--with', alice.user).length === 0, 'it to be marked');
});

test('notifications: somebody who looks elsewhere is told, and a click opens the conversation', async () => {
  const a = await deployment.comes(alice);
  const b = await deployment.comes(ben);
  await b.page.context().grantPermissions(['notifications'], { origin: deployment.url });
  await b.page.evaluate(() => {
    window.shown = [];
    window.Notification = class {
      static permission = 'granted';
      constructor(title, { body }) {
        window.shown.push({ title, body, click: () => this.onclick() });
      }
      close() {}
    };
    document.hasFocus = () => false;
  });
  await b.page.locator('.me button').click();
  await b.page.locator('.switch input').check();
  await b.page.keyboard.press('Escape');
  await a.open(ben.name);
  await a.write('look here 看这里');
  await b.page.waitForFunction(() => window.shown.length > 0);
  const [{ title, body }] = await b.page.evaluate(() => window.shown.map(({ title, body }) => ({ title, body })));
  assert.deepEqual([title, body], [alice.name, 'look here 看这里']);
  await b.page.evaluate(() => window.shown[0].click());
  await b.sees('look here');
});

test('retract and nudge: the other side sees both', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.open(ben.name);
  await b.open(alice.name);
  await a.write('a slip of the pen');
  await b.sees('a slip');
  const line = a.page.locator('.line.own').last();
  await line.hover();
  await line.locator('button').click();
  await b.sees('was taken back');
  await until(async () => !(await b.texts()).includes('a slip of the pen'), 'it to be gone');
  await a.page.locator('.head button[aria-label=Nudge]').click();
  await b.page.locator('.toast', { hasText: 'Alice Martin nudges you' }).waitFor();
});

test('history: a long conversation is paged, and a search leads into the middle of it', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.open(ben.name);
  for (let i = 1; i <= 60; ++i) await a.write(i === 5 ? '第五条：合同已签' : `line ${i}`);
  await a.hasStatus('line 60', 'delivered');
  await b.leave();
  const again = await deployment.comes(ben);
  await again.row(alice.name).click();
  await again.sees('line 60');
  assert.ok(!(await again.texts()).includes('line 4'));
  await again.page.locator('.lines .plain').click();
  await again.sees('合同已签');
  const texts = (await again.texts()).filter((text) => text.startsWith('line'));
  assert.equal(new Set(texts).size, texts.length, 'a line is there twice');
  assert.equal(texts.length, 59);

  await again.page.keyboard.press('Control+k');
  await again.page.keyboard.type('合同');
  const found = again.page.locator('.panel section', { hasText: 'Search messages' }).locator('.row');
  await found.first().click();
  await again.page.locator('.found .text', { hasText: '合同已签' }).waitFor();
  assert.ok(!(await again.texts()).includes('line 60'));
  await again.screenshot('web_search');
  await again.page.locator('.conversation > .plain').click();
  await again.sees('line 60');
});

test('groups: one is made, people write, join with consent, and leave', async () => {
  const [a, b, c] = [await deployment.comes(alice), await deployment.comes(ben), await deployment.comes(carol)];
  await a.page.locator('.tools button', { hasText: 'New group' }).click();
  await a.page.locator('dialog input').first().fill('发布 Release 1.0');
  await a.page.locator('dialog .choices label', { hasText: ben.name }).click();
  await a.screenshot('web_new_group');
  await a.page.locator('dialog .primary').click();
  await a.page.locator('.head h2', { hasText: 'Release 1.0' }).waitFor();
  await a.write('welcome 欢迎');
  await b.open('Release 1.0');
  await b.sees('welcome');
  await b.write('thanks');
  await a.sees('thanks');

  await a.page.locator('.head button[aria-label="About this group"]').click();
  const id = await a.page.locator('dialog .hint').first().textContent();
  await a.page.locator('.members li', { hasText: ben.name }).waitFor();
  await a.screenshot('web_group');
  await a.page.keyboard.press('Escape');

  await c.page.locator('.tools button', { hasText: 'Join a group' }).click();
  await c.page.locator('dialog input').fill(id);
  await c.page.locator('dialog .primary').click();
  await a.tab('Requests').locator('.badge').waitFor();
  await a.tab('Requests').click();
  await a.page.locator('.request', { hasText: carol.name }).waitFor();
  await a.screenshot('web_requests');
  await a.page.locator('.request .primary').click();
  await c.open('Release 1.0');
  await a.write('carol is here');
  await c.sees('carol is here');

  c.page.on('dialog', (dialog) => dialog.accept());
  await c.page.locator('.head button[aria-label="About this group"]').click();
  await c.page.locator('dialog .danger', { hasText: 'Leave' }).click();
  await a.page.locator('.toast', { hasText: 'Carol Jones has left' }).waitFor();
});

test('groups: an administrator adds, names another one and removes; the others are told', async () => {
  const [a, w] = [await deployment.comes(alice), await deployment.comes(wangfang)];
  await a.open('Release 1.0');
  const info = a.page.locator('.head button[aria-label="About this group"]');
  await info.click();
  await a.page.locator('dialog summary').click();
  await a.page.locator('dialog .choices label', { hasText: wangfang.name }).click();
  await a.page.locator('dialog details .secondary').click();
  const member = a.page.locator('.members li', { hasText: wangfang.name });
  await member.waitFor();
  await w.page.locator('.toast', { hasText: 'now a member of' }).waitFor();
  await w.row('Release 1.0').click();
  await a.page.keyboard.press('Escape');
  await a.write('welcome 王芳');
  await w.sees('welcome 王芳');

  await info.click();
  await member.locator(`button[aria-label="Make ${wangfang.name} an administrator"]`).click();
  await member.locator('.tag', { hasText: 'Administrator' }).waitFor();
  await w.page.locator('.toast', { hasText: 'now an administrator of' }).waitFor();
  await member.locator(`button[aria-label="Remove ${wangfang.name}"]`).click();
  await member.waitFor({ state: 'detached' });
  await w.page.locator('.toast', { hasText: 'was removed from' }).waitFor();
  await w.page.locator('.nothing').waitFor();
  await until(async () => (await w.row('Release 1.0').count()) === 0, 'the group to go');
});

test('friends: a request is put to the other and answered', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.open(ben.name);
  await a.page.locator(`.head button[aria-label="${ben.name}"]`).click();
  await a.page.locator('dialog button', { hasText: 'Add as a friend' }).click();
  await b.tab('Requests').click();
  await b.page.locator('.request', { hasText: 'Alice Martin wants to be your friend' }).waitFor();
  await b.page.locator('.request .primary').click();
  await a.page.locator('.toast', { hasText: 'Ben Carter and you are friends now' }).waitFor();
  await a.tab('People').click();
  await a.row(ben.name).locator('.tag').waitFor();
});

test('away: requests wait for the next log-in, are answered there, and the asker reads the answer later', async () => {
  const c = await deployment.comes(carol);
  await c.open(ben.name);
  await c.page.locator(`.head button[aria-label="${ben.name}"]`).click();
  await c.page.locator('dialog button', { hasText: 'Add as a friend' }).click();
  await c.page.locator('.toast', { hasText: 'Asked' }).waitFor();
  await until(() => deployment.parked(ben.id) > 0, 'the request to be stored');
  await c.leave();

  const b = await deployment.comes(ben);
  await b.tab('Requests').locator('.badge', { hasText: '1' }).waitFor();
  await b.tab('Requests').click();
  const card = b.page.locator('.request', { hasText: 'Carol Jones wants to be your friend' });
  await card.waitFor();
  // Nothing is taken away before it is answered, so another browser shows it, too.
  await b.leave();
  const again = await deployment.comes(ben);
  await again.tab('Requests').click();
  await again.page.locator('.request', { hasText: 'Carol Jones wants to be your friend' }).waitFor();
  await again.page.locator('.request .secondary').click();
  await until(() => deployment.parked(ben.id) === 0 && deployment.parked(carol.id) === 1, 'the answer to be stored');
  await again.page.locator('.empty', { hasText: 'No requests' }).waitFor();
  await again.leave();

  const later = await deployment.comes(carol);
  await later.tab('Requests').locator('.badge', { hasText: '1' }).waitFor();
  await later.tab('Requests').click();
  await later.page.locator('.news', { hasText: 'Ben Carter has refused your request' }).waitFor();
  assert.deepEqual(await later.axeFindings(), []);
  await later.screenshot('web_meanwhile');
  await later.page.locator('.news button', { hasText: 'Dismiss' }).click();
  await later.page.locator('.empty', { hasText: 'No requests' }).waitFor();
  await until(() => deployment.parked(carol.id) === 0, 'it to be taken away');
});

test('notices: one is posted, counted and read', async () => {
  const [a, b] = [await deployment.comes(alice), await deployment.comes(ben)];
  await a.row('Notices').click();
  await a.page.locator('.head button[aria-label="New notice"]').click();
  await a.page.locator('dialog input').first().fill('放假通知 Holiday');
  await a.page.locator('dialog textarea').fill('The office is closed\non Friday.');
  await a.page.locator('dialog input[type=url]').fill('https://intra.example/holiday');
  await a.page.locator('dialog button', { hasText: 'Everybody' }).click();
  await a.page.locator('dialog .primary').click();
  await b.row('Notices').locator('.badge').waitFor();
  await b.row('Notices').click();
  await b.sees('on Friday.');
  assert.equal(await b.page.locator('.lines a').getAttribute('href'), 'https://intra.example/holiday');
  await until(async () => (await b.row('Notices').locator('.badge').count()) === 0, 'no count');
  await b.screenshot('web_notices');
});

test('visitors: an agent sees the line and answers, and the visitor reads it', async () => {
  const b = await deployment.comes(ben);
  const visitor = await (await deployment.browser.newContext()).newPage();
  await visitor.goto(deployment.url);
  await visitor.evaluate((agent) => {
    window.came = [];
    const socket = new WebSocket(`ws://${location.host}/visitor`);
    const say = (frame) => socket.send(JSON.stringify(frame));
    socket.onmessage = ({ data }) => {
      const frame = JSON.parse(data);
      window.came.push(frame);
      if (frame.type === 'welcome') say({ type: 'line', ref: '1', text: 'Do you ship to France?' });
    };
    socket.onopen = () => say({ type: 'hello', agents: [agent], city: 'Lyon', language: 'en' });
  }, ben.id);
  await b.tab('Visitors').locator('.badge').waitFor();
  await b.tab('Visitors').click();
  await b.page.locator('.panel .row').first().click();
  await b.sees('Do you ship to France?');
  await b.write('Yes, within two days.');
  await visitor.waitForFunction(() => window.came.some(({ text }) => text === 'Yes, within two days.'));
  await b.sees('within two days');
  assert.equal((await b.texts()).filter((text) => text === 'Yes, within two days.').length, 1);
  await b.screenshot('web_visitor');
  await visitor.context().close();
});

test('visitors: who has left a form is called by the name in it', async () => {
  const visitor = await (await deployment.browser.newContext()).newPage();
  await visitor.goto(deployment.url);
  await visitor.evaluate((agent) => {
    window.came = [];
    const socket = new WebSocket(`ws://${location.host}/visitor`);
    socket.onmessage = ({ data }) => window.came.push(JSON.parse(data));
    socket.onopen = () => socket.send(JSON.stringify({ type: 'hello', agents: [agent], city: 'Lyon', language: 'fr' }));
    window.leave = () =>
      socket.send(JSON.stringify({ type: 'leave', ref: '1', name: 'Zoé Martin', contact: 'zoe@example.com', text: 'Rappelez-moi' }));
  }, ben.id);
  await visitor.waitForFunction(() => window.came.some(({ type }) => type === 'welcome'));
  await visitor.evaluate(() => window.leave());
  await visitor.waitForFunction(() => window.came.some(({ type }) => type === 'taken'));
  await visitor.context().close();
  const b = await deployment.comes(ben);
  await b.tab('Visitors').click();
  await b.row('Zoé Martin').locator('.badge', { hasText: '1' }).waitFor();
  await b.row('Zoé Martin').click();
  await b.page.locator('.head h2', { hasText: 'Zoé Martin' }).waitFor();
  await b.sees('Rappelez-moi');
  await b.screenshot('web_visitor_form');
});

test('profile: name, job and password are changed', async () => {
  const [w, b] = [await deployment.comes(wangfang), await deployment.comes(ben)];
  await w.page.locator('.me button').click();
  await w.page.locator('dialog button', { hasText: 'Profile' }).click();
  const name = w.page.locator('dialog input').first();
  await until(async () => (await name.inputValue()) === '王芳', 'the profile');
  await w.page.locator('dialog input').nth(1).fill('组长');
  await w.page.locator('dialog .primary').click();
  await b.tab('People').click();
  await b.row('组长').waitFor();
  const [first, second] = [0, 1].map((i) => w.page.locator('dialog input[type=password]').nth(i));
  await first.fill('secret-2');
  await second.fill('secret-3');
  await w.page.locator('dialog footer .secondary').last().click();
  await w.page.locator('dialog .trouble', { hasText: 'differ' }).waitFor();
  await second.fill('secret-2');
  await w.page.locator('dialog footer .secondary').last().click();
  await w.page.locator('.toast', { hasText: 'password was changed' }).waitFor();
  await w.screenshot('web_profile');
  await w.leave();
  const again = await deployment.person(wangfang);
  await again.logIn('secret-2');
  await again.ready();
});

test('the same user elsewhere: the first window says so', async () => {
  const first = await deployment.comes(carol);
  await deployment.comes(carol);
  await first.page.locator('.trouble', { hasText: 'logged in elsewhere' }).waitFor();
});
