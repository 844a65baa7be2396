import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { applyForAccount, listDepartments, tcp } from '@vnq/client/node';
import { alice, ben, carol, TestServer, until, wangfang } from '../../testing/server';
import { clientOf, join } from './people';

let server: TestServer;
before(async () => void (server = await TestServer.start()));
after(() => server.stop());

const applications = () => ({ connect: tcp({ host: server.address, port: 6007 }) });

test('friends: who is asked can accept, and both hear of it', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const asked = b.next('verify', ({ step }) => step === 'request');
  a.friends.request(ben.userId, 'it is me, 爱丽丝');
  const request = await asked;
  assert.deepEqual(
    [request.about, request.userId, request.target, request.text],
    ['friend', alice.userId, ben.userId, 'it is me, 爱丽丝'],
  );
  const answered = a.next('verify', ({ step }) => step === 'accepted');
  const opening = a.next('message');
  b.friends.answer(request.userId, 'accept');
  assert.equal((await answered).userId, ben.userId);
  assert.equal((await opening).userId, ben.userId);
  const deleted = b.next('verify', ({ step }) => step === 'deleted');
  a.friends.delete(ben.userId);
  assert.equal((await deleted).userId, alice.userId);
});

test('friends: who blocks is not asked again', async (t) => {
  const [w, b] = [await join(t, server, wangfang), await join(t, server, ben)];
  w.friends.request(ben.userId);
  await b.next('verify', ({ step }) => step === 'request');
  const blocked = w.next('verify', ({ step }) => step === 'blocked');
  b.friends.answer(wangfang.userId, 'block');
  await blocked;
  const turnedAway = w.next('verify', ({ step }) => step === 'blocked');
  w.friends.request(ben.userId);
  await turnedAway;
});

test('setVerification: requests are granted at once', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  b.setVerification(0);
  const granted = a.next('verify', ({ step }) => step === 'accepted');
  // The setting and the request travel on two connections: the setting is in when its echo is.
  await b.send(alice.userId, 'set');
  a.friends.request(ben.userId);
  assert.equal((await granted).target, alice.userId);
  b.setVerification(1);
});

test('groups: a life of one', async (t) => {
  const [a, b, c] = [
    await join(t, server, alice),
    await join(t, server, ben),
    await join(t, server, carol),
  ];
  const told = b.next('group', ({ change }) => change === 'new');
  const id = await a.groups.create('新项目 New', [{ userId: ben.userId, name: 'Ben' }], { ownName: 'Alice' });
  const group = await told;
  assert.equal(group.groupId, id);
  assert.equal(group.name, '新项目 New');
  assert.deepEqual(group.members, [
    { userId: alice.userId, isAdmin: true, name: 'Alice' },
    { userId: ben.userId, isAdmin: false, name: 'Ben' },
  ]);

  const renamed = b.next('group', ({ change }) => change === 'details');
  a.groups.change(id, 'Renamed', 'about it');
  assert.deepEqual([(await renamed).name, (await renamed).remark], ['Renamed', 'about it']);

  const asked = a.next('verify', ({ about, step }) => about === 'group' && step === 'request');
  c.groups.join(id, 'let me in');
  assert.deepEqual([(await asked).userId, (await asked).text], [carol.userId, 'let me in']);
  const accepted = c.next('verify', ({ step }) => step === 'accepted');
  a.groups.answer(id, carol.userId, 'accept');
  assert.equal((await accepted).target, id);

  const promoted = b.next('verify', ({ step }) => step === 'administrator');
  a.groups.setAdministrator(id, ben.userId, true);
  await promoted;
  const removed = c.next('verify', ({ step }) => step === 'removed');
  a.groups.remove(id, [carol.userId]);
  await removed;
  const left = a.next('verify', ({ step }) => step === 'left');
  b.groups.leave(id);
  assert.equal((await left).userId, ben.userId);
  const added = b.next('verify', ({ step }) => step === 'added');
  a.groups.add(id, [{ userId: ben.userId, name: 'Ben' }]);
  await added;
  const disbanded = b.next('verify', ({ step }) => step === 'disbanded');
  a.groups.disband(id);
  assert.equal((await disbanded).target, id);
});

test('groups: a muted one is told at the next log-in', async (t) => {
  const first = await join(t, server, alice);
  const id = await first.groups.create('Quiet');
  first.groups.mute(id, true);
  await first.logout();
  const again = clientOf(server, alice);
  t.after(() => again.close());
  assert.ok((await again.login()).muted.includes(id));
});

test('groups: create() without a session, or with a name that cannot be, is refused', async (t) => {
  await assert.rejects(clientOf(server, alice).groups.create('x'), { name: 'ConnectionError' });
  const a = await join(t, server, alice);
  await assert.rejects(a.groups.create("O'Neil's"), { name: 'RecordError' });
});

test('profile and password: others hear of the one, the next log-in takes the other', async (t) => {
  const [w, b] = [await join(t, server, wangfang), await join(t, server, ben)];
  const changed = b.next('profile');
  w.changeProfile({ name: '王芳 F.', job: '组长', say: 'a|b' });
  assert.equal((await changed).name, '王芳 F.');
  assert.equal((await changed).fields[10], 'a|b');
  assert.throws(() => w.changePassword(' x'), RangeError);
  w.changePassword('new-pw');
  await w.logout();
  await join(t, server, { ...wangfang, password: 'new-pw' });
});

test('meetings: invitation, answer and end reach the other party', async (t) => {
  const [a, b] = [await join(t, server, alice), await join(t, server, ben)];
  const chatId = Number(server.ctl('meeting', 'open', '--from', alice.user, '--to', ben.user, '--video'));
  const rings = b.next('meeting');
  a.meetings.invite({ chatId, otherParty: ben.userId, isVideo: true });
  const call = await rings;
  assert.deepEqual(
    [call.caller, call.called, call.state, call.isVideo, call.chatId],
    [alice.userId, ben.userId, 'invitation', true, chatId],
  );
  const answered = a.next('meeting');
  b.meetings.answer({ chatId, otherParty: alice.userId, isVideo: true });
  assert.equal((await answered).state, 'answered');
  const ended = b.next('meeting');
  a.meetings.end({ chatId, otherParty: ben.userId });
  await ended;
});

test('applyForAccount: makes one that can log in where the server says so', async (t) => {
  const a = await join(t, server, alice);
  const { departments } = await listDepartments(applications());
  assert.deepEqual(departments.map(({ id, parent }) => [id, parent]), [
    ['000001', '000000'],
    ['000002', '000001'],
    ['000003', '000001'],
  ]);
  const application = { user: 'newcomer', name: '新人', password: 'pw', department: departments[1].id };
  const { userId } = await applyForAccount(applications(), application);
  assert.match(userId, /^\d+$/);
  await assert.rejects(applyForAccount(applications(), application), { name: 'ApplicationError', reason: 'occupied' });
  // What the sample folder says about applications decides whether it counts at once.
  server.ctl('user', 'enable', 'newcomer');
  const b = await join(t, server, { user: 'newcomer', password: 'pw', userId });
  const arrived = a.next('message');
  await b.send(alice.userId, 'hello');
  assert.equal((await arrived).userId, userId);
});

test('listDepartments: the same version brings nothing', async () => {
  const { version } = await listDepartments(applications());
  assert.deepEqual(await listDepartments(applications(), version), { version, departments: [] });
});

test('applyForAccount: a signal ends it', async () => {
  const stop = new AbortController();
  stop.abort();
  await assert.rejects(
    applyForAccount({ ...applications(), signal: stop.signal }, { user: 'x', name: 'x', password: 'x' }),
    { name: 'AbortError' },
  );
});

test('customer lines reach an agent as visitors', async (t) => {
  const b = await join(t, server, ben);
  const visitors: string[] = [];
  b.on('visitor', ({ visitor, city, text }) => visitors.push(`${visitor} ${city} ${text}`));
  const a = await join(t, server, alice);
  const { outgoing } = await import('@vnq/client/node');
  a.transmit(outgoing.customerInformation(ben.userId, 'web-1', 'Lyon', '你好 a|b'));
  await until(() => visitors.length > 0, () => 'no visitor');
  assert.deepEqual(visitors, ['web-1 Lyon 你好 a|b']);
});
