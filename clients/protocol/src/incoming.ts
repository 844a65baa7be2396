// Every record that a client gets, as a value of its own type.

import type { Presence } from './outgoing';
import { readEscapedText, readMessageText } from './escape';
import { RecordFields } from './record';

/** A member as lists of groups name it. */
export interface Member {
  readonly userId: string;
  readonly isAdmin: boolean;
  readonly name: string;
}

export interface PeerMessage {
  readonly type: 'message';
  /** The other party: who wrote it, or whom an own copy went to. */
  readonly userId: string;
  /** True for the copy of what the own other device has sent. */
  readonly isOwn: boolean;
  readonly text: string;
  readonly isFile: boolean;
  /** The server's clock, "2026-03-04" and "14:35:09". */
  readonly date: string;
  readonly time: string;
  readonly font: string;
  /** Empty where it comes from the older offline tables. */
  readonly id: string;
  /** True while the user's other device waits for it, too. */
  readonly otherDeviceWaits: boolean;
}

export interface GroupMessage {
  readonly type: 'groupMessage';
  readonly groupId: string;
  readonly userId: string;
  readonly isOwn: boolean;
  readonly text: string;
  readonly isFile: boolean;
  readonly date: string;
  readonly time: string;
  readonly font: string;
  readonly id: string;
}

export interface Notice {
  readonly type: 'notice';
  readonly title: string;
  readonly content: string;
  readonly link: string;
  readonly date: string;
  readonly id: string;
}

/** What a request, an answer or a notice of `.+messengverify` says. */
export type VerifyStep =
  | 'request'
  | 'accepted'
  | 'refused'
  | 'blocked'
  | 'added'
  | 'left'
  | 'removed'
  | 'deleted'
  | 'disbanded'
  | 'administrator'
  | 'noAdministrator';

export interface Verify {
  readonly type: 'verify';
  readonly about: 'friend' | 'group';
  readonly step: VerifyStep;
  /** The group; for friends the one of the two who does not act. */
  readonly target: string;
  /** The user concerned; for friends who acts. */
  readonly userId: string;
  /** A refusal that the user has given on the other device; `userId` is who had asked. */
  readonly isOwnAnswer: boolean;
  readonly text: string;
}

export interface Visitor {
  readonly type: 'visitor';
  readonly visitor: string;
  readonly city: string;
  readonly date: string;
  readonly time: string;
  /** Empty when the visitor has just come. */
  readonly text: string;
}

export interface Meeting {
  readonly type: 'meeting';
  /** Who was called, and who calls, as the call's row names them. */
  readonly called: string;
  readonly caller: string;
  readonly isVideo: boolean;
  readonly loginType1: string;
  readonly loginType2: string;
  readonly state: 'invitation' | 'answered' | 'ended' | 'unknown';
  readonly closeRole: string;
  readonly chatId: number;
}

export type Incoming =
  | { readonly type: 'greeting' }
  | {
      readonly type: 'loggedIn';
      readonly userId: string;
      readonly isVerify: number;
      readonly permissions: string;
      /** Groups whose messages are not to make a noise. */
      readonly muted: readonly string[];
      readonly controlComputer: string;
      readonly clientVersion: number;
    }
  | { readonly type: 'refused'; readonly reason: 'version' | 'credentials' | 'disabled' | 'restricted' }
  | { readonly type: 'replaced'; readonly by: string }
  | { readonly type: 'serverEnds'; readonly text: string }
  | { readonly type: 'disconnected'; readonly reason: string }
  | { readonly type: 'visible' }
  | {
      readonly type: 'presence';
      readonly userIds: readonly string[];
      readonly state: Presence;
      readonly networkIp: string;
      readonly localIp: string;
    }
  | {
      readonly type: 'receipt';
      readonly store: 'message' | 'groupMessage' | 'offlineFile' | 'groupFile';
      readonly target: string;
      readonly id: string;
    }
  | { readonly type: 'keepAlive' }
  | PeerMessage
  | GroupMessage
  | Notice
  | Verify
  | Visitor
  | Meeting
  | {
      readonly type: 'file';
      readonly target: string;
      readonly userId: string;
      readonly name: string;
      readonly size: number;
      readonly date: string;
      readonly id: string;
      readonly path: string;
    }
  | { readonly type: 'retract'; readonly userId?: string; readonly groupId?: string; readonly id: string }
  | { readonly type: 'delivered'; readonly id: string; readonly fields: readonly string[] }
  | { readonly type: 'nudge'; readonly userId: string; readonly at: string; readonly address: string }
  | { readonly type: 'profile'; readonly userId: string; readonly name: string; readonly fields: readonly string[] }
  | { readonly type: 'synchronize'; readonly text: string }
  | { readonly type: 'logo'; readonly version: number }
  | { readonly type: 'picture'; readonly of: 'user' | 'group'; readonly id: string; readonly version: number }
  | {
      readonly type: 'group';
      readonly change: 'new' | 'details';
      readonly groupId: string;
      readonly name: string;
      readonly remark: string;
      readonly sender: string;
      /** Only where the user is a member of a new group. */
      readonly members?: readonly Member[];
    }
  | {
      readonly type: 'memberships';
      /** Empty where the engine of requests sends it. */
      readonly actor: string;
      /** At a creation seen from the creator's other device: the group's name. */
      readonly groupId: string;
      /** Some commands leave the acting user out of it. */
      readonly members: readonly Member[];
    }
  | {
      readonly type: 'account';
      readonly userId: string;
      readonly department: string;
      readonly picture: string;
      readonly user: string;
      readonly name: string;
      readonly job: string;
      readonly tel: string;
    }
  | { readonly type: 'broadcast'; readonly title: string; readonly text: string; readonly font: string }
  | { readonly type: 'downloadFailed'; readonly file: string; readonly reason: string }
  | { readonly type: 'meetingForce'; readonly fields: readonly string[] }
  | { readonly type: 'remoteRequest'; readonly userId: string; readonly mode: string; readonly chatId?: number }
  | { readonly type: 'remoteRefused'; readonly userId: string; readonly mode: string }
  | { readonly type: 'remoteAnswer'; readonly userId: string; readonly at: string; readonly address: string; readonly answer: string }
  | { readonly type: 'remoteAnsweredElsewhere'; readonly userId: string; readonly answer: string }
  | { readonly type: 'remoteControl'; readonly userId: string; readonly at: string; readonly address: string; readonly order: string }
  | { readonly type: 'accountOccupied'; readonly name: string }
  | { readonly type: 'accountMade'; readonly userId: string }
  | { readonly type: 'accountsRefused' }
  | { readonly type: 'departmentsVersion'; readonly version: number }
  | { readonly type: 'department'; readonly columns: readonly string[] }
  | { readonly type: 'departmentsEnd' }
  | { readonly type: 'unknown'; readonly word: string; readonly fields: readonly string[] };

export type IncomingType = Incoming['type'];

function int(text: string): number {
  const value = parseInt(text, 10);
  return Number.isNaN(value) ? 0 : value;
}

// A copy of what the user's own other device has sent.
function isOwnCopy(type: string): boolean {
  const value = int(type);
  return value === 1 || (value >= 10 && value % 2 === 0);
}

/** Entries UserID:IsAdmin:name, each closed by "-". */
export function readMembers(list: string): Member[] {
  return list
    .split('-')
    .map((entry) => entry.split(':'))
    .filter((parts) => parts.length >= 2 && parts[0] !== '')
    .map(([userId, isAdmin, name]) => ({
      userId,
      isAdmin: isAdmin === '1',
      name: readEscapedText(name ?? ''),
    }));
}

// Everything between the word and a closing "#".
function inner(f: RecordFields): string[] {
  const fields = f.record.split('|').slice(1);
  if (fields[fields.length - 1] === '#') fields.pop();
  return fields;
}

function presence(f: RecordFields, state: Presence): Incoming {
  // Several users at once where an administrator has disconnected them.
  const userIds = f.word === '.+new_is_offline' ? inner(f).filter((id) => id !== '') : [f.at(1)];
  const hasAddresses = f.word === '.+new_online' || f.word === '.+new_leaving';
  const address = (field: number) => (hasAddresses ? f.at(field) : '');
  return { type: 'presence', userIds, state, networkIp: address(2), localIp: address(3) };
}

const stores = { 1: 'message', 2: 'groupMessage', 3: 'offlineFile', 4: 'groupFile' } as const;

function receipt(f: RecordFields): Incoming {
  const store = stores[f.at(1) as unknown as keyof typeof stores];
  if (!store) return unknown(f);
  return { type: 'receipt', store, target: f.at(2), id: f.at(3) };
}

// .+message|other party|date|time|text|font|Msg_ID|type|flags|#; from the older store without
// Msg_ID and type
function peerMessage(f: RecordFields): PeerMessage {
  const isOld = f.size <= 7;
  return {
    type: 'message',
    userId: f.at(1),
    isOwn: !isOld && isOwnCopy(f.at(7)),
    ...readMessageText(f.at(4)),
    date: f.at(2),
    time: f.at(3),
    font: f.at(5),
    id: isOld ? '' : f.at(6),
    otherDeviceWaits: f.at(8) === '1',
  };
}

// .+clot_messeng|group|sender|date|time|text|font|Msg_ID|type|0 for the sender's copies, else 1|#
function groupMessage(f: RecordFields): GroupMessage {
  return {
    type: 'groupMessage',
    groupId: f.at(1),
    userId: f.at(2),
    isOwn: f.at(9) === '0',
    ...readMessageText(f.at(5)),
    date: f.at(3),
    time: f.at(4),
    font: f.at(6),
    id: f.at(7),
  };
}

// .+offline_file|target|sender|type path|size|date|Msg_ID|path|#
function file(f: RecordFields): Incoming {
  return {
    type: 'file',
    target: f.at(1),
    userId: f.at(2),
    name: readEscapedText(f.at(3)),
    size: int(f.at(4)),
    date: f.at(5),
    id: f.at(6),
    path: readEscapedText(f.at(7)),
  };
}

function friendStep(f: RecordFields): VerifyStep {
  if (f.at(5) === '2') return 'deleted';
  // A request that is granted at once comes back as a request that says "accepted".
  const step = { 1: 'accepted', 2: 'refused', 3: 'blocked' }[f.at(7)] as VerifyStep | undefined;
  return step ?? 'request';
}

// The answers 4 to 6 are copies for the other administrators.
const joinSteps: Record<string, VerifyStep> = {
  0: 'added',
  1: 'accepted',
  2: 'refused',
  3: 'blocked',
  4: 'accepted',
  5: 'refused',
  6: 'blocked',
};

function groupStep(f: RecordFields): VerifyStep {
  const kind = f.at(5);
  if (kind === '3') return 'noAdministrator';
  if (kind === '4') return 'administrator';
  if (kind === '1') return f.at(6) === '1' ? 'request' : joinSteps[f.at(7)] ?? 'added';
  if (f.at(6) === '1') return 'left';
  return f.at(7) === '1' ? 'disbanded' : 'removed';
}

// .+messengverify|group or user|user|text|type 1|type 2|type 3|type 4|#
function verify(f: RecordFields): Verify {
  const isGroup = f.at(4) === '2';
  return {
    type: 'verify',
    about: isGroup ? 'group' : 'friend',
    step: isGroup ? groupStep(f) : friendStep(f),
    target: f.at(1),
    userId: f.at(2),
    isOwnAnswer: !isGroup && f.at(6) === '1' && /^[23]$/.test(f.at(7)),
    text: readEscapedText(f.at(3)),
  };
}

// .+landing_successful|UserID|IsVerify|permissions|control_computer|client version|#
function loggedIn(f: RecordFields): Incoming {
  return {
    type: 'loggedIn',
    userId: f.at(1),
    isVerify: int(f.at(2)),
    permissions: f.at(3),
    muted: f.at(3).split(',').filter((token) => /^Clot\d+$/.test(token)),
    controlComputer: f.at(4),
    clientVersion: int(f.at(5)),
  };
}

const meetingStates = { 0: 'invitation', 1: 'answered', 2: 'ended' } as const;

// .+meeting_message|called|caller|video|login 1|login 2|state|close role|id|#
function meeting(f: RecordFields): Meeting {
  return {
    type: 'meeting',
    called: f.at(1),
    caller: f.at(2),
    isVideo: f.at(3) !== '0',
    loginType1: f.at(4),
    loginType2: f.at(5),
    state: meetingStates[f.at(6) as unknown as keyof typeof meetingStates] ?? 'unknown',
    closeRole: f.at(7),
    chatId: int(f.at(8)),
  };
}

function group(f: RecordFields, change: 'new' | 'details'): Incoming {
  const isMember = f.word === '.+new_group_information';
  return {
    type: 'group',
    change,
    groupId: f.at(1),
    name: readEscapedText(f.at(2)),
    remark: readEscapedText(f.at(3)),
    sender: readEscapedText(f.at(4)),
    ...(isMember ? { members: readMembers(f.at(5)) } : {}),
  };
}

// .+request_remote|sender|date and time|mode|#, at a phone
// .+request_remote|target|sender|state|close role|id|#
function remoteRequest(f: RecordFields): Incoming {
  if (f.size <= 5) return { type: 'remoteRequest', userId: f.at(1), mode: f.at(3) };
  return { type: 'remoteRequest', userId: f.at(2), mode: '2', chatId: int(f.at(5)) };
}

// .+data_synchronization|Users_RoVesr|version|  .+data_synchronization|Users_Ro|0|1|2|3|4|
// .+data_synchronization|#1
function departments(f: RecordFields): Incoming {
  if (f.at(1) === 'Users_RoVesr') return { type: 'departmentsVersion', version: int(f.at(2)) };
  if (f.at(1) === '#1') return { type: 'departmentsEnd' };
  return { type: 'department', columns: [2, 3, 4, 5, 6].map((field) => f.at(field)) };
}

function unknown(f: RecordFields): Incoming {
  return { type: 'unknown', word: f.word, fields: inner(f) };
}

const readers: Record<string, (f: RecordFields) => Incoming> = {
  '.+SuccessfulConnection': () => ({ type: 'greeting' }),
  '.+successful_connection': () => ({ type: 'greeting' }),
  '.+landing_successful': loggedIn,
  '.+UpgradedVersion': () => ({ type: 'refused', reason: 'version' }),
  '.+LoginFailed': () => ({ type: 'refused', reason: 'credentials' }),
  '.+ProhibitLanding': () => ({ type: 'refused', reason: 'disabled' }),
  '.+landing_restrictions': () => ({ type: 'refused', reason: 'restricted' }),
  '.+busy_force': (f) => ({ type: 'replaced', by: readEscapedText(f.at(1)) }),
  '.+forced_disconnection': (f) => ({ type: 'serverEnds', text: readEscapedText(f.at(1)) }),
  '.+disconnect': (f) => ({ type: 'disconnected', reason: readEscapedText(f.at(1)) }),
  '.+SynchronousSuccessfully': () => ({ type: 'visible' }),
  '.+new_online': (f) => presence(f, 'online'),
  '.+new_leaving': (f) => presence(f, 'away'),
  '.+new_is_offline': (f) => presence(f, 'offline'),
  '.+phone_line': (f) => presence(f, 'phone'),
  '.+reply': receipt,
  '.+y': () => ({ type: 'keepAlive' }),
  '.+message': peerMessage,
  '.+clot_messeng': groupMessage,
  '.+notification': (f) => ({
    type: 'notice',
    title: readEscapedText(f.at(1)),
    content: readEscapedText(f.at(2)),
    link: readEscapedText(f.at(3)),
    date: f.at(4),
    id: f.at(5),
  }),
  '.+messengverify': verify,
  '.+offline_file': file,
  '.+retract': (f) =>
    f.at(1) === '1'
      ? { type: 'retract', groupId: f.at(2), id: f.at(3) }
      : { type: 'retract', userId: f.at(2), id: f.at(3) },
  '.+reply_transmission': (f) => ({ type: 'delivered', id: f.at(2), fields: inner(f) }),
  '.+jitter_window': (f) => ({ type: 'nudge', userId: f.at(1), at: f.at(2), address: f.at(3) }),
  '.+modify_account': (f) => ({
    type: 'profile',
    userId: f.at(1),
    name: readEscapedText(f.at(3)),
    fields: inner(f).map(readEscapedText),
  }),
  '.+request_data_synchronization_online': (f) => ({ type: 'synchronize', text: f.at(1) }),
  '.+synchronization_LOGO': (f) => ({ type: 'logo', version: int(f.at(1)) }),
  '.+synchronization_personality_picture': (f) => ({
    type: 'picture',
    of: f.at(1) === '2' ? 'group' : 'user',
    id: f.at(2),
    version: int(f.at(3)),
  }),
  '.+new_group_information': (f) => group(f, 'new'),
  '.+new_group_base_information': (f) => group(f, 'new'),
  '.+modify_group_information': (f) => group(f, 'details'),
  '.+new_group_memberships': (f) => ({
    type: 'memberships',
    actor: f.at(1),
    groupId: f.at(2),
    members: readMembers(f.at(3)),
  }),
  // The fields are those of the application, which has no password here, and the new UserID.
  '.+create_account': (f) => ({
    type: 'account',
    department: f.at(1),
    picture: f.at(2),
    user: f.at(3),
    name: readEscapedText(f.at(4)),
    job: readEscapedText(f.at(6)),
    tel: readEscapedText(f.at(7)),
    userId: f.at(8),
  }),
  '.+customer_information': (f) => ({
    type: 'visitor',
    visitor: readEscapedText(f.at(1)),
    city: readEscapedText(f.at(2)),
    date: f.at(3),
    time: f.at(4),
    text: f.at(5) === '#' ? '' : readMessageText(f.at(5)).text,
  }),
  '.+broadcast': (f) => ({
    type: 'broadcast',
    title: readEscapedText(f.at(1)),
    text: readEscapedText(f.at(2)),
    font: f.at(3),
  }),
  '.+download_myfailed': (f) => ({
    type: 'downloadFailed',
    file: readEscapedText(f.at(1)),
    reason: readEscapedText(f.at(2)),
  }),
  '.+meeting_message': meeting,
  '.+meeting_force': (f) => ({ type: 'meetingForce', fields: inner(f) }),
  '.+request_remote': remoteRequest,
  '.+no_request_remote': (f) => ({ type: 'remoteRefused', userId: f.at(1), mode: f.at(3) }),
  '.+reply_request_remote': (f) => ({
    type: 'remoteAnswer',
    userId: f.at(1),
    at: f.at(2),
    address: f.at(3),
    answer: f.at(4),
  }),
  '.+reply_request_my_remote': (f) => ({
    type: 'remoteAnsweredElsewhere',
    userId: f.at(1),
    answer: f.at(4),
  }),
  '.+remote_control': (f) => ({
    type: 'remoteControl',
    userId: f.at(1),
    at: f.at(2),
    address: f.at(3),
    order: readEscapedText(f.at(4)),
  }),
  '.+account_occupancy': (f) => ({ type: 'accountOccupied', name: readEscapedText(f.at(1)) }),
  '.+application_success': (f) => ({ type: 'accountMade', userId: f.at(1) }),
  '.+not_allowed_to_apply': () => ({ type: 'accountsRefused' }),
  '.+data_synchronization': departments,
};

/** The words that are known, with their prefix. */
export const incomingWords: readonly string[] = Object.keys(readers);

/** Reads a record. Never fails: missing fields are empty, and an unknown word is told as such. */
export function parseRecord(record: string): Incoming {
  const fields = new RecordFields(record);
  const reader = Object.prototype.hasOwnProperty.call(readers, fields.word)
    ? readers[fields.word]
    : unknown;
  return reader(fields);
}

/**
 * What tells a delivery from another one: a message that is sent again comes again, with the same
 * key. Nothing for what is not delivered twice.
 */
export function deliveryKey(incoming: Incoming, record: string): string | undefined {
  const key = (kind: string, party: string, id: string) =>
    id !== '' && id !== '0' ? `${kind}|${party}|${id}` : record;
  switch (incoming.type) {
    case 'message':
      return key(incoming.isOwn ? 'to' : 'from', incoming.userId, incoming.id);
    case 'file':
      return key('from', incoming.userId, incoming.id);
    case 'groupMessage':
      return key('group', incoming.groupId, incoming.id);
    case 'notice':
      return key('notice', '', incoming.id);
    default:
      return undefined;
  }
}
