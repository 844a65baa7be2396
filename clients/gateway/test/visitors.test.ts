import { EventEmitter } from 'node:events';
import { createServer } from 'node:http';
import { mkdirSync, mkdtempSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { outgoing } from '@vnq/protocol';
import { Log } from '../src/log';
import { Metrics } from '../src/metrics';
import { VisitorDesk } from '../src/visitor_desk';
import { mostLines, VisitorStore } from '../src/visitor_store';
import { post } from '../src/webhook';
import { Deployment, until, type User, type Wire } from './deployment';

const folders: string[] = [];
let deployment: Deployment;
let alice: User;
before(async () => {
  deployment = await new Deployment().start(...visitorFlags());
  alice = await deployment.login('alice');
});
after(async () => {
  await deployment.stop();
  for (const folder of folders) rmSync(folder, { recursive: true });
});

function visitorFlags(folder = ''): string[] {
  if (folder === '') folders.push(mkdtempSync(join(tmpdir(), 'vnq_visitors_')));
  return ['--agents', '1,2', '--visitor-data', folder || folders[folders.length - 1]];
}

async function visit(on: Deployment, hello: Record<string, unknown> = {}): Promise<Wire & { welcome: any }> {
  const wire = on.open('/visitor') as Wire & { welcome: any };
  await wire.opened();
  wire.say({ type: 'hello', agents: ['1'], city: 'Lyon', ...hello });
  wire.welcome = await wire.heard('welcome');
  return wire;
}

test('visitor: a line reaches the agent, and the answer comes back', async () => {
  const visitor = await visit(deployment);
  const { id, present } = visitor.welcome;
  assert.equal(present, true);
  await alice.wire.saw(`.+customer_information|${id}|Lyon|`);
  visitor.say({ type: 'line', ref: 'a', text: 'Where is the manual? 手册' });
  await alice.wire.saw('%u624B%u518C');
  assert.equal((await visitor.heard('taken')).ref, 'a');
  alice.wire.send(outgoing.message({ target: id, sender: '1', text: 'On the second page. 第二页', id: `A${id}` }));
  const line = await visitor.heard('line');
  assert.deepEqual([line.from, line.name, line.text, line.id], ['1', 'Alice Martin', 'On the second page. 第二页', `A${id}`]);
});

test('visitor: a long line arrives whole', async () => {
  const visitor = await visit(deployment);
  const text = '长'.repeat(1990);
  visitor.say({ type: 'line', ref: 'a', text });
  await visitor.heard('taken');
  const whole = alice.wire.records.filter((each) => each.includes('%u957F')).pop() ?? '';
  assert.equal(whole.split('%u957F').length - 1, 1990);
  visitor.say({ type: 'line', ref: 'b', text: text.repeat(2) });
  assert.equal((await visitor.heard('refused')).why, 'too_long');
});

test('visitor: what is typed is text, whatever it holds', async () => {
  const visitor = await visit(deployment);
  const text = 'a|b#.+message|1|1|x|f|0|1|#\n<b>';
  visitor.say({ type: 'line', ref: 'a', text });
  await visitor.heard('taken');
  const record = alice.wire.records.find((each) => each.includes(visitor.welcome.id) && each.includes('a%7Cb')) ?? '';
  assert.equal(record.split('|').length, 7);
  const conversation = (await alice.get(`/api/visitors/${visitor.welcome.id}`)).json;
  assert.equal(conversation.lines[0].text, text);
});

test('visitor: a reload finds the lines and what was answered meanwhile, once', async () => {
  const first = await visit(deployment);
  const { id, key } = first.welcome;
  first.say({ type: 'line', ref: 'a', text: 'one' });
  await first.heard('taken');
  first.close();
  await alice.write(id, 'two', `B${id}`);
  const second = await visit(deployment, { id, key });
  assert.equal(second.welcome.id, id);
  await until(() => [...second.welcome.lines, ...second.texts.filter((each: any) => each.type === 'line')].length === 2, 'two lines');
  const third = await visit(deployment, { id, key });
  assert.deepEqual(third.welcome.lines.map((line: any) => [line.from, line.text]), [['you', 'one'], ['1', 'two']]);
});

test('visitor: a wrong key gives another identity', async () => {
  const first = await visit(deployment);
  const other = await visit(deployment, { id: first.welcome.id, key: 'f'.repeat(64) });
  assert.notEqual(other.welcome.id, first.welcome.id);
  const forged = await visit(deployment, { id: '1', key: 'x' });
  assert.match(forged.welcome.id, /^web-[0-9a-f]{16}$/);
});

test('visitor: a ref that comes twice is one line', async () => {
  const visitor = await visit(deployment);
  for (let i = 0; i < 2; ++i) visitor.say({ type: 'line', ref: 'same', text: 'only once please' });
  await visitor.heard('taken');
  visitor.say({ type: 'line', ref: 'same', text: 'only once please' });
  await visitor.heard('taken', 2);
  const records = alice.wire.records.filter((each) => each.includes(visitor.welcome.id) && each.includes('only%20once'));
  assert.equal(records.length, 1);
});

test('visitor: when nobody is there a form is taken, and the agent\'s client gets it', async () => {
  const visitor = await visit(deployment, { agents: ['2'] });
  assert.equal(visitor.welcome.present, false);
  visitor.say({ type: 'line', ref: 'a', text: 'hello?' });
  assert.equal((await visitor.heard('refused')).why, 'nobody');
  visitor.say({ type: 'leave', ref: 'b', name: 'Zoé', contact: 'zoe@example.com', text: 'Please call' });
  assert.equal((await visitor.heard('taken')).ref, 'b');
  const ben = await deployment.login('ben');
  assert.equal((await visitor.heard('presence')).present, true);
  ben.wire.send(outgoing.offlineRequest('2'));
  await ben.wire.saw(`.+customer_information|${visitor.welcome.id}|Zoé|`);
  assert.ok(ben.wire.records.some((each) => each.includes('Please%20call') && each.includes('zoe%40example.com')));
  const [listed] = (await ben.get('/api/visitors')).json.visitors;
  assert.deepEqual([listed.id, listed.name, listed.last.form], [visitor.welcome.id, 'Zoé', true]);
  ben.wire.close();
});

test('visitor: only an agent of the visitor reads the conversation', async () => {
  const visitor = await visit(deployment);
  visitor.say({ type: 'line', ref: 'a', text: 'secret' });
  await visitor.heard('taken');
  const carol = await deployment.login('carol');
  assert.equal((await carol.get(`/api/visitors/${visitor.welcome.id}`)).status, 403);
  assert.deepEqual((await carol.get('/api/visitors')).json.visitors, []);
  assert.equal((await alice.get('/api/visitors/web-0000000000000000')).status, 404);
});

test('visitor: bad frames end the connection', async () => {
  for (const frames of [['x'], ['[]'], ['{"type":"line","text":"x"}'], ['{"type":"hello"}', '{"type":"dance"}'], ['{"type":"hello"}', '{"type":"hello"}']]) {
    const wire = deployment.open('/visitor');
    await wire.opened();
    for (const frame of frames) {
      wire.ws.send(frame);
      if (frames.length > 1 && frame === frames[0]) await wire.heard('welcome');
    }
    assert.equal((await wire.ended()).code, 1008, frames.join(' '));
  }
  const long = deployment.open('/visitor');
  await long.opened();
  long.ws.send(' '.repeat(17_000));
  assert.equal((await long.ended()).code, 1009);
  const strange = deployment.open('/visitor');
  await strange.opened();
  strange.say({ type: 'hello', agents: ['3'] });
  assert.deepEqual(await strange.ended(), { code: 1008, reason: 'these agents take no visitors' });
});

test('visitor: who writes too much is held back', async () => {
  const visitor = await visit(deployment);
  for (let i = 0; i < 20; ++i) visitor.say({ type: 'line', ref: `r${i}`, text: `line ${i}` });
  assert.equal((await visitor.heard('refused')).why, 'too_many');
  for (let i = 0; i < 60; ++i) visitor.say({ type: 'line', ref: 'r0', text: 'flood' });
  assert.deepEqual(await visitor.ended(), { code: 1008, reason: 'too many frames' });
});

test('visitor: a page of a site that is not listed is turned away', async () => {
  const own = await new Deployment().start(...visitorFlags(), '--visitor-origins', 'https://www.example.com', '--visitors-per-address', '1');
  assert.equal((await own.open('/visitor', { Origin: 'https://evil.example' }).ended()).code, 1006);
  await own.open('/visitor', { Origin: 'https://www.example.com' }).opened();
  assert.equal((await own.open('/visitor', { Origin: 'https://www.example.com' }).ended()).code, 1008);
  await own.stop();
});

test('visitor: lines and answers survive the server\'s death and the gateway\'s', async () => {
  const own = new Deployment();
  const flags = visitorFlags(join(own.folder, 'visitors'));
  await own.start(...flags);
  const agent = await own.login('alice');
  const visitor = await visit(own);
  const { id, key } = visitor.welcome;
  await agent.write(id, 'before', `C${id}`);
  await visitor.heard('line');
  await own.endServer('SIGKILL');
  visitor.say({ type: 'line', ref: 'x', text: 'written while the server was dead' });
  await own.startServer();
  const again = await own.login('alice');
  await visitor.heard('taken');
  // Live, when the agent was back before the visitor; in the conversation in any case.
  const conversation = (await again.get(`/api/visitors/${id}`)).json;
  assert.deepEqual(conversation.lines.map((line: any) => line.text), ['before', 'written while the server was dead']);
  await own.gateway.stop();
  await own.startGateway(...flags);
  const returned = await visit(own, { id, key });
  assert.deepEqual(returned.welcome.lines.map((line: any) => line.text), ['before', 'written while the server was dead']);
  const copies = again.wire.records.filter((each) => each.includes('written%20while'));
  assert.ok(copies.length <= 1);
  await own.stop();
});

test('visitor: a webhook gets the form, and its refusal is told', async () => {
  const got: any[] = [];
  let status = 200;
  const hook = createServer({}, (request, response) => {
    let body = '';
    request.on('data', (part: Uint8Array) => (body += part.toString()));
    request.on('end', () => {
      got.push(JSON.parse(body));
      response.writeHead(status);
      response.end();
    });
  });
  await new Promise<void>((done) => hook.listen(0, '127.0.0.1', done));
  const { port } = hook.address() as { port: number };
  const own = await new Deployment().start(...visitorFlags(), '--form-webhook', `http://127.0.0.1:${port}/form`);
  const visitor = await visit(own);
  visitor.say({ type: 'leave', ref: 'a', name: 'Zoé', contact: '', text: 'call me' });
  await visitor.heard('taken');
  assert.deepEqual({ ...got[0], visitor: '' }, { visitor: '', agents: ['1'], city: 'Lyon', name: 'Zoé', contact: '', text: 'call me' });
  status = 500;
  visitor.say({ type: 'leave', ref: 'b', text: 'again' });
  assert.equal((await visitor.heard('refused')).why, 'unstored');
  await own.stop();
  hook.close();
});

test('visitor: a conversation nobody goes on with is dropped after its days', async () => {
  const own = new Deployment();
  const folder = join(own.folder, 'visitors');
  await own.start(...visitorFlags(folder));
  const visitor = await visit(own);
  visitor.say({ type: 'leave', ref: 'a', text: 'x' });
  await visitor.heard('taken');
  const store = new VisitorStore(folder, 30);
  assert.equal(store.find(visitor.welcome.id)?.lines.length, 1);
  store.sweep(Date.now() + 31 * 86_400_000);
  assert.equal(store.find(visitor.welcome.id), undefined);
  assert.deepEqual(readdirSync(folder), ['secret']);
  await own.stop();
});

test('visitor: a conversation that cannot be written ends that connection and nothing else', async () => {
  const own = new Deployment();
  const folder = join(own.folder, 'visitors');
  await own.start(...visitorFlags(folder));
  await own.login('alice');
  const visitor = await visit(own);
  const file = join(folder, `${visitor.welcome.id}.jsonl`);
  rmSync(file);
  mkdirSync(file);
  visitor.say({ type: 'line', ref: 'a', text: 'x' });
  assert.equal((await visitor.ended()).code, 1011);
  assert.match(own.logged.find(({ event }) => event === 'visitor_failed').why, /EISDIR/);
  const other = await visit(own);
  other.say({ type: 'line', ref: 'a', text: 'x' });
  await other.heard('taken');
  await own.stop();
});

test('visitor: what was written while the server was away is sent although the visitor has left', async (t) => {
  const own = await new Deployment().start();
  t.after(() => own.stop());
  const folder = join(own.folder, 'visitors');
  const store = new VisitorStore(folder, 30);
  const desk = new VisitorDesk({
    mainPort: { host: own.address, port: 6004 },
    page: own.page,
    agents: ['1'],
    formWebhook: undefined,
    store,
    history: undefined,
    post,
    log: new Log(() => undefined),
    metrics: new Metrics(),
    lingerMs: 1,
  });
  t.after(() => desk.stop());
  const ws = Object.assign(new EventEmitter(), { told: [] as string[], send: (frame: string) => void ws.told.push(frame), close: () => undefined });
  desk.receive(ws as never, '127.0.0.1');
  ws.emit('message', '{"type":"hello"}', false);
  await until(() => ws.told.some((frame) => frame.includes('welcome')), 'the welcome');
  await own.endServer('SIGKILL');
  ws.emit('message', '{"type":"line","ref":"a","text":"left behind"}', false);
  await until(() => store.all()[0].count === 1, 'the line');
  ws.emit('close');
  await own.startServer();
  await until(() => desk.size === 0, 'the end of the visit');
  assert.deepEqual(store.find(store.all()[0].visitor)?.lines.map(({ text, taken }) => [text, taken]), [['left behind', true]]);
});

test('visitor: a conversation of many lines is read again from its file, and is full at last', () => {
  const folder = mkdtempSync(join(tmpdir(), 'vnq_visitors_'));
  folders.push(folder);
  const store = new VisitorStore(folder, 30);
  const { id, key } = store.invite();
  store.begin(id, ['1'], 'Lyon');
  const line = (i: number) => ({ id: `L${i}`, ref: `r${i}`, time: '2026-03-04 10:00:00', from: id, text: `line ${i}` });
  for (let i = 0; i < mostLines; ++i) store.add(id, line(i));
  store.close(id);
  for (const each of [store, new VisitorStore(folder, 30)]) {
    assert.deepEqual([each.isProven(id, key), each.isFull(id), each.all()[0].count], [true, true, mostLines]);
    assert.deepEqual(each.find(id)?.lines.slice(-1), [line(mostLines - 1)]);
  }
});
