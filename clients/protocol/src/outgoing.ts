// Every record that a client sends, by what it asks for. Each function gives the record as text;
// the fields that people write are escaped here, so callers hand in plain text.
//
// Group and member names may not hold a single quote or, in lists, ":" and "-": the server cannot
// take them there. Such characters become blanks in lists and are refused elsewhere.

import { escapeText, fieldText } from './escape';
import { joinRecord, RecordError } from './record';

/** Font name, size, colour as a number, bold, italic, underline. Passed on unread by the server. */
export const defaultFont = 'Arial,10,0,False,False,False';

/** Who a member of a group is to be. */
export interface MemberEntry {
  readonly userId: string;
  readonly isAdmin?: boolean;
  /** The member's name as the group shows it. */
  readonly name?: string;
}

function number(isOn: boolean): string {
  return isOn ? '1' : '0';
}

function withoutQuote(what: string, text: string): string {
  if (text.includes("'")) throw new RecordError(`${what} cannot hold a single quote: "${text}"`);
  return fieldText(text);
}

function memberList(members: readonly MemberEntry[]): string {
  return members
    .map(({ userId, isAdmin = false, name = '' }) => {
      if (userId === '' || /[:\-'|]/.test(userId)) {
        throw new RecordError(`"${userId}" cannot stand in a list of members`);
      }
      const shown = name.replace(/[:\-'|\r\n]|\.\+/g, ' ');
      return `${userId}:${number(isAdmin)}:${shown}-`;
    })
    .join('');
}

// ----- log-in and presence

export interface Landing {
  readonly user: string;
  readonly password: string;
  /** The machine's own view of its address, for a desktop. */
  readonly localAddress?: string;
  /** What a role's restriction to machines compares, for a desktop; "kefu" is a web agent. */
  readonly machineId?: string;
  /** Makes it a phone: one letter. */
  readonly platform?: string;
  /** The phone's push identifier, and who made the phone. */
  readonly pushId?: string;
  readonly manufacturer?: string;
  /** The number that the server's gate for outdated clients compares; none passes the gate. */
  readonly version?: number;
}

/** Logs in. The answer is `.+landing_successful`, or a refusal and the end of the connection. */
export function landing(login: Landing): string {
  const isPhone = login.platform !== undefined;
  if (isPhone && login.platform!.length !== 1) {
    throw new RecordError('a platform is one letter; anything longer is a desktop');
  }
  // One character would make a phone of it.
  const address = (login.localAddress ?? '').length === 1 ? '' : login.localAddress ?? '';
  const machine = isPhone ? login.pushId : login.machineId;
  const fields = [
    login.user,
    login.password,
    isPhone ? login.platform! : address,
    machine ?? '',
    login.manufacturer ?? '',
  ];
  if (login.version !== undefined) fields.push(String(login.version));
  return joinRecord('.+landing', ...fields);
}

/** Takes a known user over on a phone, without a password. */
export const phoneLog = (userId: string) => joinRecord('.+phone_log', userId);

export type Presence = 'offline' | 'online' | 'away' | 'phone';
const presenceNumbers: Record<Presence, number> = { offline: 0, online: 1, away: 2, phone: 3 };

/** Makes a log-in visible to the others. The answer is `.+SynchronousSuccessfully`. */
export const successfulOnline = (userId: string, state: Presence = 'online') =>
  joinRecord('.+successful_online', userId, presenceNumbers[state]);

export const onLine = (userId: string) => joinRecord('.+on_line', userId);
export const goAway = (userId: string) => joinRecord('.+go_away', userId);
/** Shown as offline from now on, and still logged in. */
export const stealth = (userId: string) => joinRecord('.+stealth', userId);
/** Says good-bye; the server closes the connection. */
export const offline = (userId: string) => joinRecord('.+offline', userId);
export const keepAlive = () => joinRecord('.+y');

// ----- messages

export interface OutgoingText {
  /** A user or, for a group's message, the group. */
  readonly target: string;
  readonly sender: string;
  readonly text: string;
  /** The same again for the same message: the server stores it once. */
  readonly id: string;
  readonly font?: string;
  /** 5 announces a file that was left for the target. */
  readonly type?: number;
}

const textRecord = (word: string, m: OutgoingText) =>
  joinRecord(word, m.target, m.sender, escapeText(m.text), m.font ?? defaultFont, m.id, m.type ?? 1);

/** A message to one person. The receipt is `.+reply|1|target|id|#`. */
export const message = (text: OutgoingText) => textRecord('.+message', text);
/** A message to a group. The receipt is `.+reply|2|group|id|#`. */
export const groupMessage = (text: OutgoingText) => textRecord('.+clot_messeng', text);

export interface Retraction {
  readonly isGroup: boolean;
  readonly target: string;
  readonly sender: string;
  /** The id of the message. */
  readonly id: string;
}

/** Asks the other side's clients to take a message out of their view. Nothing stored changes. */
export const retract = (r: Retraction) =>
  joinRecord('.+retract', number(r.isGroup), r.target, r.sender, r.id, '');

/** One text to many persons, or to many groups; each receiver gets a message of its own. */
export const massInformation = (receivers: readonly string[], sender: string, text: string, toGroups = false) =>
  joinRecord('.+mass_information', receivers.join('*'), sender, escapeText(text), toGroups ? 2 : 1);

/** Tells one connection (a UserID, with "m" behind it for a phone) that a message has arrived. */
export const replyTransmission = (tag: string, id: string) =>
  joinRecord('.+reply_transmission', '1', tag, id);

/** Shakes a person's window. */
export const jitterWindow = (target: string, sender: string) =>
  joinRecord('.+jitter_window', target, sender);

/** Asks for what waits in the older offline tables. */
export const offlineRequest = (userId: string) => joinRecord('.+offline_request_web_information', userId);

// ----- notices, bulletins, outside applications

export interface OutgoingNotice {
  readonly sender: string;
  readonly receivers: readonly string[];
  readonly title: string;
  readonly content?: string;
  readonly link?: string;
}

export const notification = (n: OutgoingNotice) =>
  joinRecord(
    '.+notification',
    n.sender,
    n.receivers.join(','),
    fieldText(n.title),
    fieldText(n.content ?? ''),
    fieldText(n.link ?? ''),
  );

const interfaceModes = { message: 0, groupMessage: 1, notice: 3, visitor: 4, visitorGroup: 5 };

export interface OutsideApplication {
  readonly mode: keyof typeof interfaceModes;
  /** The login name of the sender. */
  readonly sender: string;
  /** Login names, or names of groups; "*" alone is everybody, for a notice. */
  readonly receivers: readonly string[];
  readonly title?: string;
  /** Plain: the server escapes it. It may not hold "|" or a line break. */
  readonly text: string;
  readonly link?: string;
}

/** A message, a notice or a visitor's line of an application that has no log-in. */
export const interfaceInformation = (a: OutsideApplication) =>
  joinRecord(
    '.+interface_information',
    a.sender,
    a.receivers.join(','),
    a.title ?? '',
    a.text,
    a.link ?? '',
    interfaceModes[a.mode],
  );

export const deleteBulletin = (userId: string, motif: string) =>
  joinRecord('.+delete_bulletin', userId, motif);
/** Sets who shares a person's bulletins; replaces the list. */
export const sharedNotice = (userId: string, with_: readonly string[]) =>
  joinRecord('.+shared_notice', userId, with_.join('\\'));

// ----- consent: friends and groups

export interface Verification {
  readonly target: string;
  readonly userId: string;
  readonly text?: string;
  readonly types: readonly [number, number, number, number];
}

/** The record of every request, answer and notice about a friendship or a membership. */
export const messengVerify = (v: Verification) =>
  joinRecord('.+messengverify', v.target, v.userId, fieldText(v.text ?? ''), ...v.types);

export type Answer = 'accept' | 'refuse' | 'block';
const answers: Record<Answer, number> = { accept: 1, refuse: 2, block: 3 };

export const friendRequest = (target: string, userId: string, text = '') =>
  messengVerify({ target, userId, text, types: [1, 1, 1, 0] });
/** `asker` is who asked, `userId` who answers. */
export const friendAnswer = (asker: string, userId: string, answer: Answer, text = '') =>
  messengVerify({ target: asker, userId, text, types: [1, 1, 2, answers[answer]] });
export const friendDelete = (friend: string, userId: string) =>
  messengVerify({ target: friend, userId, types: [1, 2, 1, 0] });
export const joinGroup = (group: string, userId: string, text = '') =>
  messengVerify({ target: group, userId, text, types: [2, 1, 1, 0] });
/** An administrator's answer to `applicant`. */
export const joinAnswer = (group: string, applicant: string, answer: Answer, text = '') =>
  messengVerify({ target: group, userId: applicant, text, types: [2, 1, 2, answers[answer]] });
export const leaveGroup = (group: string, userId: string) =>
  messengVerify({ target: group, userId, types: [2, 2, 1, 0] });
export const disbandGroup = (group: string, userId: string) =>
  messengVerify({ target: group, userId, types: [2, 2, 2, 1] });

// ----- groups

export interface GroupDetails {
  readonly name: string;
  readonly remark?: string;
  /** Whom the group belongs to, as clients show it. */
  readonly sender?: string;
}

const groupFields = (g: GroupDetails) => [
  withoutQuote("a group's name", g.name),
  withoutQuote("a group's remark", g.remark ?? ''),
  withoutQuote("a group's owner", g.sender ?? ''),
];

/** Makes a group; its id comes with `.+new_group_information`. */
export const newGroup = (userId: string, details: GroupDetails, members: readonly MemberEntry[]) =>
  joinRecord('.+new_group_information', userId, ...groupFields(details), memberList(members));
export const modifyGroup = (userId: string, group: string, details: GroupDetails) =>
  joinRecord('.+modify_group_information', userId, group, ...groupFields(details));
/** Replaces a group's members; the acting user stays and may not be in the list. */
export const modifyMembers = (userId: string, group: string, members: readonly MemberEntry[]) =>
  joinRecord('.+modify_group_members', userId, group, memberList(members));
export const addMembers = (userId: string, group: string, members: readonly MemberEntry[]) =>
  joinRecord('.+add_group_members', userId, group, memberList(members));
export const delMembers = (userId: string, group: string, members: readonly string[]) =>
  joinRecord('.+del_group_members', userId, group, members.join(','));
export const setAdministrator = (userId: string, group: string, member: string, isAdmin: boolean) =>
  joinRecord('.+set_group_administrator', userId, group, `${member}:${number(isAdmin)}`);
export const modifyGroupPhoto = (userId: string, group: string, version: string | number) =>
  joinRecord('.+modify_group_photos', userId, group, version);
export const clearGroupPhoto = (userId: string, group: string, version: string | number) =>
  joinRecord('.+clear_group_photos', userId, group, version);
export const modifyIsSilence = (userId: string, group: string, muted: boolean) =>
  joinRecord('.+modify_isSilence', userId, group, number(muted));

// ----- one's own data

/** All of it is written, also what is left out here. */
export interface Profile {
  readonly job?: string;
  readonly name: string;
  readonly age?: string;
  readonly effigy?: string;
  readonly tel1?: string;
  readonly tel2?: string;
  readonly address?: string;
  readonly school?: string;
  readonly constellation?: string;
  readonly say?: string;
  readonly picture?: string;
}

export const modifyData = (userId: string, p: Profile) =>
  joinRecord(
    '.+modify_data',
    userId,
    ...[p.job, p.name, p.age, p.effigy, p.tel1, p.tel2, p.address, p.school, p.constellation, p.say]
      .map((value) => fieldText(value ?? '')),
    p.picture ?? '0',
  );
export const changePassword = (userId: string, password: string) =>
  joinRecord('.+change_password', userId, password);
/** Friend requests: 0 are granted at once, 1 are put to the user, 2 are dropped. */
export const modifyIsVerify = (userId: string, value: 0 | 1 | 2) =>
  joinRecord('.+modify_isverify', userId, value);
export const modifyPicture = (userId: string, version: number) =>
  joinRecord('.+modify_personal_pictures', userId, version);
export const clearPicture = (userId: string, version: number) =>
  joinRecord('.+clear_personal_pictures', userId, version);
export const requestLogo = (userId: string, version: number) =>
  joinRecord('.+request_synchronous_LOGO', userId, version);
export const requestPicture = (userId: string, of: 'user' | 'group', id: string, version: number) =>
  joinRecord('.+request_personalized_photos', userId, of === 'user' ? 1 : 2, id, version);
/** Tells every client to synchronise its directory. */
export const requestSynchronization = (text: string) =>
  joinRecord('.+request_data_synchronization_online', text);

// ----- calls, remote assistance, files

export interface MeetingState {
  readonly otherParty: string;
  readonly sender: string;
  readonly isVideo: boolean;
  readonly state: 'invitation' | 'answered' | 'ended';
  readonly chatId: number;
  /** 1 is the desktop of the first party, anything else its phone; nothing keeps what is stored. */
  readonly loginType1?: number;
  readonly loginType2?: number;
  readonly closeRole?: number;
}
const meetingStates = { invitation: 0, answered: 1, ended: 2 };

export const meetingMessage = (m: MeetingState) =>
  joinRecord(
    '.+meeting_message',
    m.otherParty,
    m.sender,
    number(m.isVideo),
    m.loginType1 ?? '',
    m.loginType2 ?? '',
    meetingStates[m.state],
    m.closeRole ?? '',
    m.chatId,
  );
/** Ends a call from outside, on one connection. */
export const meetingForce = (tag: string, what: string, detail = '', more = '') =>
  joinRecord('.+meeting_force', what, tag, detail, more);
/** Mode 2 also rings on the other party's phone. */
export const requestRemote = (target: string, sender: string, mode: string | number = 1) =>
  joinRecord('.+request_remote', target, sender, mode);
export const replyRequestRemote = (target: string, sender: string, answer: string | number) =>
  joinRecord('.+reply_request_remote', target, sender, answer);
export const remoteControl = (target: string, sender: string, order: string) =>
  joinRecord('.+remote_control', target, sender, fieldText(order));

export interface UploadedFile {
  readonly name: string;
  readonly size: number;
  readonly sender: string;
  /** A user, or a group. */
  readonly target: string;
  readonly isGroup: boolean;
  readonly path: string;
  readonly id: string;
}

/** Notes a file whose bytes were left elsewhere. The receipt is `.+reply|3|...` or `.+reply|4|...`. */
export const uploadFiles = (f: UploadedFile) =>
  joinRecord(
    '.+upload_files',
    fieldText(f.name),
    f.size,
    f.sender,
    f.target,
    f.isGroup ? 2 : 1,
    fieldText(f.path),
    f.id,
  );

// ----- visitors of a web site

/** Announces a visitor; on the main port it takes the connection as the visitor's. */
export const customer = (agents: readonly string[], visitor: string, city: string) =>
  joinRecord('.+customer', agents.join(','), visitor, fieldText(city), '');
/** A visitor's line to an agent. */
export const customerInformation = (agent: string, visitor: string, city: string, text: string) =>
  joinRecord('.+customer_information', agent, visitor, fieldText(city), escapeText(text));

// ----- port 6007: applications for an account

export interface AccountApplication {
  /** A department's TypeID; an unknown one falls back to the first at the top. */
  readonly department?: string;
  readonly user: string;
  readonly name: string;
  readonly password: string;
  readonly picture?: string;
  readonly job?: string;
  readonly tel?: string;
  readonly constellation?: string;
}

export const accountApplication = (a: AccountApplication) =>
  joinRecord(
    '.+account_application',
    a.department ?? '',
    a.picture ?? '0',
    a.user,
    fieldText(a.name),
    a.password,
    fieldText(a.job ?? ''),
    fieldText(a.tel ?? ''),
    fieldText(a.constellation ?? ''),
  );
/** Asks for the departments where `version` is not the server's. */
export const requestDepartments = (version: number) =>
  joinRecord('.+request_data_synchronization', version);
export const exitApplication = () => joinRecord('.+exit_application');
