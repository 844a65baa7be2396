import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';

import { deliveryKey, incomingWords, outgoing, parseRecord, RecordError } from '@vnq/protocol';

const commands = readFileSync(`${process.env.VNQ_CLIENTS}/../docs/commands.md`, 'utf8');

// The rows of the ports that clients speak to.
function rowsOf(port: number): string[] {
  const section = commands.split(/^## /m).find((part) => part.startsWith(`${port}:`)) ?? '';
  return section.split('\n').filter((line) => line.startsWith('| `.+'));
}

const message = { target: '2', sender: '1', text: '你好 a|b', id: 'M1' };
const meeting = { otherParty: '2', sender: '1', isVideo: true, state: 'answered', chatId: 7 } as const;
const group = { name: 'Team', remark: 'r', sender: '1' };

/** One of each, with the record that it must be. */
const built: [string, string][] = [
  [outgoing.landing({ user: 'alice', password: 'p', localAddress: '10.0.0.1', machineId: 'm' }), '.+landing|alice|p|10.0.0.1|m||#'],
  [outgoing.landing({ user: 'a', password: 'p', platform: '1', pushId: 'r', manufacturer: 'f', version: 9 }), '.+landing|a|p|1|r|f|9|#'],
  [outgoing.phoneLog('1'), '.+phone_log|1|#'],
  [outgoing.successfulOnline('1'), '.+successful_online|1|1|#'],
  [outgoing.successfulOnline('1', 'phone'), '.+successful_online|1|3|#'],
  [outgoing.onLine('1'), '.+on_line|1|#'],
  [outgoing.goAway('1'), '.+go_away|1|#'],
  [outgoing.stealth('1'), '.+stealth|1|#'],
  [outgoing.offline('1'), '.+offline|1|#'],
  [outgoing.keepAlive(), '.+y|#'],
  [outgoing.message(message), '.+message|2|1|%u4F60%u597D%20a%7Cb|Arial,10,0,False,False,False|M1|1|#'],
  [outgoing.groupMessage({ ...message, font: 'f', type: 5 }), '.+clot_messeng|2|1|%u4F60%u597D%20a%7Cb|f|M1|5|#'],
  [outgoing.retract({ isGroup: false, target: '2', sender: '1', id: 'M' }), '.+retract|0|2|1|M||#'],
  [outgoing.retract({ isGroup: true, target: 'C', sender: '1', id: 'M' }), '.+retract|1|C|1|M||#'],
  [outgoing.massInformation(['2', '3'], '1', 'a b'), '.+mass_information|2*3|1|a%20b|1|#'],
  [outgoing.massInformation(['C'], '1', 'a', true), '.+mass_information|C|1|a|2|#'],
  [outgoing.replyTransmission('2m', 'M'), '.+reply_transmission|1|2m|M|#'],
  [outgoing.jitterWindow('2', '1'), '.+jitter_window|2|1|#'],
  [outgoing.offlineRequest('1'), '.+offline_request_web_information|1|#'],
  [outgoing.notification({ sender: '1', receivers: ['2', '3'], title: 'T|', link: 'L' }), '.+notification|1|2,3|T%7C||L|#'],
  [outgoing.interfaceInformation({ mode: 'notice', sender: 'alice', receivers: ['*'], title: 'T', text: 'x', link: 'L' }), '.+interface_information|alice|*|T|x|L|3|#'],
  [outgoing.deleteBulletin('1', 'm'), '.+delete_bulletin|1|m|#'],
  [outgoing.sharedNotice('1', ['2', '3']), '.+shared_notice|1|2\\3|#'],
  [outgoing.friendRequest('2', '1', 'hi'), '.+messengverify|2|1|hi|1|1|1|0|#'],
  [outgoing.friendAnswer('2', '1', 'accept'), '.+messengverify|2|1||1|1|2|1|#'],
  [outgoing.friendAnswer('2', '1', 'block'), '.+messengverify|2|1||1|1|2|3|#'],
  [outgoing.friendDelete('2', '1'), '.+messengverify|2|1||1|2|1|0|#'],
  [outgoing.joinGroup('C', '1'), '.+messengverify|C|1||2|1|1|0|#'],
  [outgoing.joinAnswer('C', '5', 'refuse'), '.+messengverify|C|5||2|1|2|2|#'],
  [outgoing.leaveGroup('C', '1'), '.+messengverify|C|1||2|2|1|0|#'],
  [outgoing.disbandGroup('C', '1'), '.+messengverify|C|1||2|2|2|1|#'],
  [outgoing.newGroup('1', group, [{ userId: '1', isAdmin: true, name: 'A:l-i' }, { userId: '2' }]), '.+new_group_information|1|Team|r|1|1:1:A l i-2:0:-|#'],
  [outgoing.modifyGroup('1', 'C', group), '.+modify_group_information|1|C|Team|r|1|#'],
  [outgoing.modifyMembers('1', 'C', [{ userId: '2' }]), '.+modify_group_members|1|C|2:0:-|#'],
  [outgoing.addMembers('1', 'C', [{ userId: '2' }]), '.+add_group_members|1|C|2:0:-|#'],
  [outgoing.delMembers('1', 'C', ['2', '3']), '.+del_group_members|1|C|2,3|#'],
  [outgoing.setAdministrator('1', 'C', '2', true), '.+set_group_administrator|1|C|2:1|#'],
  [outgoing.modifyGroupPhoto('1', 'C', 4), '.+modify_group_photos|1|C|4|#'],
  [outgoing.clearGroupPhoto('1', 'C', 4), '.+clear_group_photos|1|C|4|#'],
  [outgoing.modifyIsSilence('1', 'C', true), '.+modify_isSilence|1|C|1|#'],
  [outgoing.modifyData('1', { name: 'Al', job: 'J', say: 's' }), '.+modify_data|1|J|Al||||||||s|0|#'],
  [outgoing.changePassword('1', 'new'), '.+change_password|1|new|#'],
  [outgoing.modifyIsVerify('1', 2), '.+modify_isverify|1|2|#'],
  [outgoing.modifyPicture('1', 3), '.+modify_personal_pictures|1|3|#'],
  [outgoing.clearPicture('1', 3), '.+clear_personal_pictures|1|3|#'],
  [outgoing.requestLogo('1', 0), '.+request_synchronous_LOGO|1|0|#'],
  [outgoing.requestPicture('1', 'group', 'C', 0), '.+request_personalized_photos|1|2|C|0|#'],
  [outgoing.requestSynchronization('x'), '.+request_data_synchronization_online|x|#'],
  [outgoing.meetingMessage(meeting), '.+meeting_message|2|1|1|||1||7|#'],
  [outgoing.meetingForce('2', 'end', 'a'), '.+meeting_force|end|2|a||#'],
  [outgoing.requestRemote('2', '1', 2), '.+request_remote|2|1|2|#'],
  [outgoing.replyRequestRemote('2', '1', 'yes'), '.+reply_request_remote|2|1|yes|#'],
  [outgoing.remoteControl('2', '1', 'k'), '.+remote_control|2|1|k|#'],
  [outgoing.uploadFiles({ name: 'a.txt', size: 5, sender: '1', target: '2', isGroup: false, path: '/x', id: 'M' }), '.+upload_files|a.txt|5|1|2|1|/x|M|#'],
  [outgoing.customer(['1', '2'], 'v', 'Lyon'), '.+customer|1,2|v|Lyon||#'],
  [outgoing.customerInformation('1', 'v', 'Lyon', 'a b'), '.+customer_information|1|v|Lyon|a%20b|#'],
  [outgoing.accountApplication({ user: 'u', name: 'N', password: 'p', department: '000001' }), '.+account_application|000001|0|u|N|p||||#'],
  [outgoing.requestDepartments(3), '.+request_data_synchronization|3|#'],
  [outgoing.exitApplication(), '.+exit_application|#'],
];

test('outgoing: each function gives the record as the server reads it', () => {
  for (const [record, expected] of built) assert.equal(record, expected);
});

test('outgoing: there is a function for every command of the ports for clients', () => {
  const words = new Set(built.map(([record]) => record.split('|')[0]));
  const rows = [...rowsOf(6004), ...rowsOf(6007)];
  assert.ok(rows.length > 40);
  for (const row of rows) {
    const word = /`(\.\+\w+)`/.exec(row)![1];
    assert.ok(words.has(word), `nothing builds ${word}`);
  }
});

test('incoming: every record that a client may hear is read', () => {
  const heard = new Set<string>();
  for (const row of [...rowsOf(6004), ...rowsOf(6007)]) {
    for (const [, word] of row.split('|').slice(4).join('|').matchAll(/`(\.\+\w+)`/g)) heard.add(word);
  }
  assert.ok(heard.size > 30);
  for (const word of heard) assert.ok(incomingWords.includes(word), `nothing reads ${word}`);
});

test('incoming: the texts of the three forms of a message', () => {
  assert.deepEqual(parseRecord('.+message|2|2026-03-04|14:35:09|%u4F60|f|M1|11|1|#'), {
    type: 'message', userId: '2', isOwn: false, text: '你', isFile: false,
    date: '2026-03-04', time: '14:35:09', font: 'f', id: 'M1', otherDeviceWaits: true,
  });
  const own = parseRecord('.+message|2|d|t|x|f|M1|10|0|#');
  assert.ok(own.type === 'message' && own.isOwn && !own.otherDeviceWaits);
  const file = parseRecord('.+message|2|d|t|%7Bh@a%2520b.txt%7D|f|M1|2|0|#');
  assert.ok(file.type === 'message' && file.isFile && !file.isOwn && file.text === 'a b.txt');
  const ownFile = parseRecord('.+message|2|d|t|%7Bh@a.txt%7D|f|M1|1|0|#');
  assert.ok(ownFile.type === 'message' && ownFile.isFile && ownFile.isOwn);
  const old = parseRecord('.+message|2|d|t|x|f|@#');
  assert.ok(old.type === 'message' && old.id === '' && !old.isOwn);
});

test('incoming: a group message tells own copies from those of members', () => {
  const member = parseRecord('.+clot_messeng|C|2|d|t|x|f|M1|2|1|#');
  assert.deepEqual(member, {
    type: 'groupMessage', groupId: 'C', userId: '2', isOwn: false, text: 'x', isFile: false,
    date: 'd', time: 't', font: 'f', id: 'M1',
  });
  const own = parseRecord('.+clot_messeng|C|1|d|t|x|f|M1|1|0|#');
  assert.ok(own.type === 'groupMessage' && own.isOwn);
});

test('incoming: the steps of friendships and memberships', () => {
  const step = (record: string) => {
    const incoming = parseRecord(record);
    assert.ok(incoming.type === 'verify');
    return `${incoming.about} ${incoming.step}`;
  };
  const cases: [string, string][] = [
    ['1|1|1|0', 'friend request'], ['1|1|1|1', 'friend accepted'], ['1|1|2|1', 'friend accepted'],
    ['1|1|2|2', 'friend refused'], ['1|1|2|3', 'friend blocked'], ['1|2|1|0', 'friend deleted'],
    ['2|1|1|0', 'group request'], ['2|1|2|0', 'group added'], ['2|1|2|1', 'group accepted'],
    ['2|1|2|4', 'group accepted'], ['2|1|2|5', 'group refused'], ['2|1|2|6', 'group blocked'],
    ['2|2|1|0', 'group left'], ['2|2|2|0', 'group removed'], ['2|2|2|1', 'group disbanded'],
    ['2|3|2|0', 'group noAdministrator'], ['2|4|2|0', 'group administrator'],
  ];
  for (const [types, expected] of cases) assert.equal(step(`.+messengverify|a|b||${types}|#`), expected);
});

test('incoming: records without a closing mark lose nothing', () => {
  assert.deepEqual(parseRecord('.+landing_restrictions'), { type: 'refused', reason: 'restricted' });
  assert.deepEqual(parseRecord('.+jitter_window|2|2026-03-04 14:35:09|10.0.0.1'), {
    type: 'nudge', userId: '2', at: '2026-03-04 14:35:09', address: '10.0.0.1',
  });
  assert.deepEqual(parseRecord('.+synchronization_personality_picture|2|C|7'), {
    type: 'picture', of: 'group', id: 'C', version: 7,
  });
  assert.deepEqual(parseRecord('.+data_synchronization|#1'), { type: 'departmentsEnd' });
});

test('incoming: several people go offline at once', () => {
  assert.deepEqual(parseRecord('.+new_is_offline|2|3||#'), {
    type: 'presence', userIds: ['2', '3'], state: 'offline', networkIp: '', localIp: '',
  });
});

test('incoming: an unknown word is told, and a name of every object is one', () => {
  assert.deepEqual(parseRecord('.+new_thing|a|#'), { type: 'unknown', word: '.+new_thing', fields: ['a'] });
  for (const word of ['constructor', '__proto__', 'toString', '']) {
    assert.equal(parseRecord(`${word}|#`).type, 'unknown');
  }
});

test('incoming: a member list with broken entries gives those that are whole', () => {
  const made = parseRecord('.+new_group_information|C|N|R|S|1:1:Al-x-2:0:%u4F60-:1:q-|#');
  assert.ok(made.type === 'group');
  assert.deepEqual(made.members, [
    { userId: '1', isAdmin: true, name: 'Al' },
    { userId: '2', isAdmin: false, name: '你' },
  ]);
});

test('deliveryKey: the same message again has the same key, another one another', () => {
  const key = (record: string) => deliveryKey(parseRecord(record), record);
  const first = '.+message|2|d|t|x|f|M1|11|1|#';
  assert.equal(key(first), key('.+message|2|d|t|x|f|M1|11|0|#'));
  assert.equal(key(first), key('.+offline_file|1|2|a.txt|5|d|M1|p|#'));
  assert.notEqual(key(first), key('.+message|2|d|t|x|f|M2|11|1|#'));
  assert.notEqual(key(first), key('.+message|2|d|t|x|f|M1|10|1|#'));
  assert.notEqual(key('.+message|2|d|t|x|f|0|11|1|#'), key('.+message|2|d|t|y|f|0|11|1|#'));
  assert.equal(key('.+new_online|2|||#'), undefined);
});

test('outgoing: what the server cannot take is refused', () => {
  assert.throws(() => outgoing.newGroup('1', { name: "O'Neil" }, []), RecordError);
  assert.throws(() => outgoing.addMembers('1', 'C', [{ userId: '2:1' }]), RecordError);
  assert.throws(() => outgoing.landing({ user: 'a', password: 'p|w' }), RecordError);
  assert.throws(() => outgoing.landing({ user: 'a', password: 'p', platform: 'ios' }), RecordError);
});
