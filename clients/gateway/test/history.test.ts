import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { outgoing } from '@vnq/protocol';
import { History, HistoryError } from '../src/history';
import { Log } from '../src/log';
import { Deployment, programs, sample, until, type User } from './deployment';

let deployment: Deployment;
let alice: User;
let ben: User;
before(async () => {
  deployment = await new Deployment().start();
  alice = await deployment.login('alice');
  await alice.write('2', 'the first', 'H1');
  await alice.write('2', '合同 is ready', 'H2');
  await alice.write('3', 'for Carol only', 'H3');
  ben = await deployment.login('ben');
});
after(() => deployment.stop());

const ids = (answer: { json: any }) => answer.json.entries.map((entry: { Msg_ID: string }) => entry.Msg_ID);

test('history: what came while a user was away is read once', async () => {
  const unread = await ben.get('/api/unread');
  assert.deepEqual(ids(unread), ['H1', 'H2']);
  assert.equal(unread.json.entries[1].text, '合同 is ready');
  assert.equal(unread.json.entries[0].from_name, 'Alice Martin');
  assert.deepEqual((await ben.post('/api/read', { entries: unread.json.entries })).json, { marked: true });
  assert.deepEqual(ids(await ben.get('/api/unread')), []);
  const again = await deployment.login('ben');
  assert.deepEqual(ids(await again.get('/api/unread')), []);
  ben = again;
});

test('history: nobody reads or marks what is another\'s', async () => {
  assert.deepEqual(ids(await ben.get('/api/messages?with=3')), []);
  assert.deepEqual(ids(await ben.get('/api/search?q=Carol')), []);
  assert.equal((await ben.get('/api/unread?user=3')).status, 400);
  await ben.post('/api/read', { user: '3', device: 'desktop', entries: [{ kind: 'message', Msg_ID: 'H3', to: '3' }] });
  const carol = await deployment.login('carol');
  assert.deepEqual(ids(await carol.get('/api/unread')), ['H3']);
});

test('history: a conversation is paged, and searched in Chinese', async () => {
  assert.deepEqual(ids(await ben.get('/api/messages?with=1&limit=1')), ['H2']);
  const older = await ben.get('/api/messages?with=1&limit=1&before=H2');
  assert.deepEqual([ids(older), older.json.more], [['H1'], false]);
  assert.deepEqual(ids(await ben.get(`/api/search?q=${encodeURIComponent('合同')}`)), ['H2']);
  assert.equal((await ben.get('/api/messages?with=1&before=none')).status, 404);
});

test('history: conversations tell unread counts and the last entry', async () => {
  await alice.write('2', 'one more', 'H4');
  const [first] = (await ben.get('/api/conversations')).json.conversations;
  assert.deepEqual([first.kind, first.id, first.name, first.unread, first.last.Msg_ID], ['peer', '1', 'Alice Martin', 1, 'H4']);
  assert.equal((await ben.post('/api/read', { with: '1', through: 'H4' })).status, 200);
  assert.equal((await ben.get('/api/conversations')).json.conversations[0].unread, 0);
});

test('history: the directory, members and profiles', async () => {
  const people = (await ben.get('/api/people')).json;
  assert.equal(people.people.length, 6);
  assert.equal(people.people.find((each: any) => each.id === '2').state, 1);
  const [group] = people.groups;
  const members = (await ben.get(`/api/members?group=${group.id}`)).json.members;
  assert.ok(members.some((each: any) => each.id === '1'));
  const carol = await deployment.login('carol');
  assert.equal((await carol.get(`/api/members?group=${group.id}`)).status, 403);
  assert.equal((await ben.get('/api/profile')).json.login, 'ben');
  assert.equal((await ben.get('/api/profile?user=99')).status, 404);
});

test('history: a phone has marks of its own', async () => {
  await alice.write('2', 'for both devices', 'H5');
  const phone = deployment.open('/ws');
  await phone.saw('.+SuccessfulConnection');
  phone.send(outgoing.landing({ user: 'ben', password: sample.ben.password, platform: '3', pushId: 'push' }));
  const { token, device } = await phone.heard('session');
  assert.equal(device, 'mobile');
  const mobile = () => deployment.get('/api/unread', { Authorization: `Bearer ${token}` });
  assert.ok(ids(await mobile()).includes('H5'));
  await ben.post('/api/read', { with: '1' });
  assert.ok(ids(await mobile()).includes('H5'));
});

test('history: what makes no sense is refused in words', async () => {
  const refused = async (path: string) => {
    const { status, json } = await ben.get(path);
    return `${status} ${json.error}`;
  };
  assert.equal(await refused('/api/messages'), '400 one conversation must be named');
  assert.equal(await refused('/api/messages?with=1&limit=0'), '400 limit must be 1 to 500');
  assert.equal(await refused('/api/messages?with=1&colour=red'), '400 there is no parameter colour');
  assert.equal(await refused('/api/messages?with=1&since=yesterday'), '400 since must be a date');
  assert.equal(await refused('/api/search?q='), '400 words to search for must be given');
  assert.equal(await refused('/api/nothing'), '404 there is no such path');
  assert.equal(await refused('/api/read'), '405 this path takes another method');
  assert.equal((await ben.post('/api/read', 'no JSON')).status, 400);
  assert.equal((await ben.post('/api/read', '[]')).status, 400);
  assert.equal((await ben.post('/api/read', ' '.repeat(300_000))).status, 413);
  assert.equal(await refused(`/api/messages?with=${encodeURIComponent("1' or '1'='1")}`), '400 an id cannot hold a quote');
});

test('history: a token that asks too fast is held back', async () => {
  const carol = await deployment.login('carol');
  const answers = await Promise.all(Array.from({ length: 150 }, () => carol.get('/api/nothing')));
  const held = answers.filter(({ status }) => status === 429);
  assert.ok(held.length > 0);
  assert.equal(held[0].headers['retry-after'], '1');
});

test('history: a reader that dies is started again', async () => {
  const logged: any[] = [];
  const options = { vnqctl: join(programs, 'vnqctl'), appPath: deployment.folder, processes: 1 };
  const history = new History(options, new Log((line) => logged.push(JSON.parse(line))));
  assert.ok((await history.ask({ do: 'settings' })).code_page);
  const waiting = history.ask({ do: 'conversations', user: '1' });
  process.kill(childOf(deployment.folder), 'SIGKILL');
  await waiting.catch((error) => assert.ok(error instanceof HistoryError));
  await until(() => logged.some(({ event }) => event === 'history_reader_ended'), 'the end in the log');
  await until(() => history.ask({ do: 'settings' }).catch(() => undefined), 'an answer');
  history.stop();
});

test('history: a reader that hangs is ended and started again', async () => {
  const logged: any[] = [];
  const options = { vnqctl: join(programs, 'vnqctl'), appPath: deployment.folder, processes: 1 };
  const history = new History(options, new Log((line) => logged.push(JSON.parse(line))), 1000);
  await history.ask({ do: 'settings' });
  process.kill(childOf(deployment.folder), 'SIGSTOP');
  await assert.rejects(history.ask({ do: 'settings' }), HistoryError);
  assert.deepEqual(logged.map(({ event }) => event), ['history_reader_hangs', 'history_reader_ended']);
  await until(() => history.ask({ do: 'settings' }).catch(() => undefined), 'an answer');
  history.stop();
});

// The youngest reader of the folder that this process has started.
function childOf(folder: string): number {
  const children = readFileSync(`/proc/${process.pid}/task/${process.pid}/children`, 'utf8').trim().split(' ').map(Number);
  const readers = children.filter((pid) => readFileSync(`/proc/${pid}/cmdline`, 'utf8').includes(`--serve\0--app-path\0${folder}`));
  return readers[readers.length - 1];
}

test('history: a gateway without the server\'s folder says so', async () => {
  const own = new Deployment();
  own.init();
  await own.startServer();
  await own.startGatewayWithoutHistory();
  const user = await own.login('alice');
  const { status, json } = await user.get('/api/conversations');
  assert.deepEqual([status, json.error], [503, 'this gateway has no history: it was started without --app-path']);
  await own.stop();
});
