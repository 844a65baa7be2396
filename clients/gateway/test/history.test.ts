import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { outgoing } from '@vnq/protocol';
import { sessionRequests } from '../src/api';
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

test('history: a stranger is told nothing and changes nothing, by any request', async () => {
  const carol = await deployment.login('carol');
  const [{ id: group }] = (await alice.get('/api/people')).json.groups;
  alice.wire.send(outgoing.groupMessage({ target: group, sender: '1', text: 'secret', id: 'SG' }));
  alice.wire.send(outgoing.notification({ sender: '1', receivers: ['2'], title: 'secret', content: '', link: '' }));
  await alice.write('2', 'secret', 'S1');
  await alice.write('3', 'for Carol, too', 'S2');
  const unreadOfBen = async () => (await ben.get('/api/unread')).text;
  await until(async () => /SG/.test(await unreadOfBen()) && /notice/.test(await unreadOfBen()), 'the secrets');
  const before = await unreadOfBen();

  const nothing = '200 {"entries":[],"more":false}';
  const unknown = '404 {"error":"no such entry"}';
  const noMember = '403 {"error":"not a member of this group"}';
  const entries = ['SG', 'S1'].map((Msg_ID) => ({ kind: Msg_ID === 'SG' ? 'group_message' : 'message', Msg_ID, to: '2', user: '2' }));
  const request = { ClotID: '2', UserID2: '1', UserText: '', To_Type1: '1', To_Type2: '1', To_Type3: '1', To_Type4: '0' };
  const attempts: [string, string, string, unknown?][] = [
    ['GET messages', `?group=${group}`, nothing],
    ['GET messages', `?group=${group}&before=SG`, unknown],
    ['GET messages', '?group=Clot999999', nothing],
    ['GET messages', '?with=2', nothing],
    ['GET messages', '?with=1&before=S1', unknown],
    ['GET messages', '?with=1&after=SG', unknown],
    ['GET messages', '?with=99', nothing],
    ['GET messages', '?notices=1', nothing],
    ['GET messages', '?with=1&user=2', '400 {"error":"there is no parameter user"}'],
    ['GET search', '?q=secret', nothing],
    ['GET search', `?q=secret&group=${group}`, nothing],
    ['GET search', '?q=secret&with=1&user=2', '400 {"error":"there is no parameter user"}'],
    ['GET unread', '?user=2', '400 {"error":"there is no parameter user"}'],
    ['GET conversations', '?user=2', '400 {"error":"there is no parameter user"}'],
    ['POST read', '', '200 {"marked":true}', { user: '2', device: 'desktop', entries }],
    ['POST read', '', '200 {"marked":true}', { user: '2', group }],
    ['POST read', '', '200 {"marked":true}', { user: '2', notices: true }],
    ['POST read', '', unknown, { with: '1', through: 'S1' }],
    ['POST read', '', unknown, { group, through: 'SG' }],
    ['GET requests', '', '200 {"requests":[]}'],
    ['GET requests', '?user=2', '400 {"error":"there is no parameter user"}'],
    ['POST requests/forget', '', '200 {"forgotten":true}', { user: '2', requests: [request] }],
    ['GET people', '?user=2', '400 {"error":"there is no parameter user"}'],
    ['GET members', `?group=${group}`, noMember],
    ['GET members', '?group=Clot999999', noMember],
    ['GET members', '', noMember],
    ['GET profile', '?user=99', '404 {"error":"there is no such user"}'],
    ['GET visitors', '', '200 {"visitors":[]}'],
    ['GET visitors/web-0000000000000000', '', '404 {"error":"there is no such visitor"}'],
  ];
  for (const [what, query, expected, body] of attempts) {
    const [method, path] = what.split(' ');
    const { status, text } = await (method === 'GET' ? carol.get(`/api/${path}${query}`) : carol.post(`/api/${path}`, body));
    assert.equal(`${status} ${text}`, expected, `${what}${query}`);
  }
  const tried = new Set(attempts.map(([what]) => what));
  assert.deepEqual(sessionRequests.filter((each) => !tried.has(each)), [], 'nobody has tried these');
  assert.equal(await unreadOfBen(), before);

  const own = (await carol.get('/api/conversations')).json.conversations;
  assert.deepEqual(own.map(({ kind, id }: any) => [kind, id]), [['peer', '1']]);
  assert.doesNotMatch((await carol.get('/api/people')).text, new RegExp(group));
  assert.doesNotMatch((await carol.get('/api/profile?user=1')).text, /password|alice-pw|verify/i);
});

test('history: without a live token nothing is answered', async () => {
  const tokens = ['', 'Bearer', 'Bearer none', `Basic ${ben.token}`, `Bearer ${ben.token}x`, `Bearer ${ben.token.slice(1)}`];
  for (const what of [...sessionRequests, 'GET visitors/web-0000000000000000']) {
    const [method, path] = what.split(' ');
    for (const Authorization of tokens) {
      const { status } = await deployment.get(`/api/${path}`, Authorization ? { Authorization } : {}, method, method === 'POST' ? '{}' : undefined);
      assert.equal(status, 401, `${what} with "${Authorization}"`);
    }
  }
});

test('history: who leaves a group reads nothing of it any more', async () => {
  const [{ id: group }] = (await alice.get('/api/people')).json.groups;
  alice.wire.send(outgoing.addMembers('1', group, [{ userId: '3', isAdmin: false, name: 'Carol' }]));
  const carol = await deployment.login('carol');
  await until(async () => (await carol.get(`/api/members?group=${group}`)).status === 200, 'the membership');
  assert.ok(ids(await carol.get(`/api/messages?group=${group}`)).includes('SG'));
  assert.deepEqual(ids(await carol.get('/api/unread')).filter((id: string) => id === 'SG'), [], 'older messages are not unread');
  carol.wire.send(outgoing.groupMessage({ target: group, sender: '3', text: 'my own words', id: 'SC' }));
  await until(async () => ids(await carol.get(`/api/messages?group=${group}`)).includes('SC'), 'the own words');
  carol.wire.send(outgoing.leaveGroup(group, '3'));
  await until(async () => (await carol.get(`/api/members?group=${group}`)).status === 403, 'the end of the membership');
  assert.deepEqual(ids(await carol.get(`/api/messages?group=${group}`)), []);
  assert.deepEqual(ids(await carol.get('/api/search?q=words')), []);
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
  assert.ok((await history.ask<{ code_page: number }>({ do: 'settings' })).code_page);
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
