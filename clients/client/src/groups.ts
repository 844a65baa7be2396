// Groups: making and changing them, joining and leaving.

import { Answer, Incoming, MemberEntry, outgoing } from '@vnq/protocol';
import { abortError, WaitOptions } from './emitter';
import type { Sender } from './friends';

type GroupRecord = Extract<Incoming, { type: 'group' }>;

interface GroupSource extends Sender {
  next(
    event: 'group',
    filter: (group: GroupRecord) => boolean,
    options: WaitOptions,
  ): Promise<GroupRecord>;
}

const answerMs = 15_000;

export class Groups {
  constructor(private readonly client: GroupSource) {}

  /**
   * Makes a group with this user as its administrator; resolves with its id.
   *
   * @param members without the user
   * @param ownName the user's name as the group shows it
   */
  async create(
    name: string,
    members: readonly MemberEntry[] = [],
    { remark = '', ownName = '', signal }: { remark?: string; ownName?: string; signal?: AbortSignal } = {},
  ): Promise<string> {
    if (signal?.aborted) throw abortError(signal);
    // Without a session there is nobody who could be its administrator.
    this.client.transmit();
    const { userId } = this.client;
    const all = [{ userId, isAdmin: true, name: ownName }, ...members];
    const record = outgoing.newGroup(userId, { name, remark, sender: userId }, all);
    this.client.transmit(record);
    // The answer cannot come before this turn of the loop has ended. Only members are told who
    // they are.
    const isIt = (group: GroupRecord) => group.name === name && group.members !== undefined;
    const wait = { timeout: answerMs, ...(signal ? { signal } : {}) };
    return (await this.client.next('group', isIt, wait)).groupId;
  }

  change(groupId: string, name: string, remark = '', owner = this.client.userId): void {
    const details = { name, remark, sender: owner };
    this.client.transmit(outgoing.modifyGroup(this.client.userId, groupId, details));
  }

  /** Adds people without asking them. Somebody who is a member already would become one twice. */
  add(groupId: string, members: readonly MemberEntry[]): void {
    this.client.transmit(outgoing.addMembers(this.client.userId, groupId, members));
  }

  remove(groupId: string, userIds: readonly string[]): void {
    this.client.transmit(outgoing.delMembers(this.client.userId, groupId, userIds));
  }

  setAdministrator(groupId: string, userId: string, isAdmin: boolean): void {
    this.client.transmit(outgoing.setAdministrator(this.client.userId, groupId, userId, isAdmin));
  }

  /** Asks the group's administrators for membership. */
  join(groupId: string, text = ''): void {
    this.client.transmit(outgoing.joinGroup(groupId, this.client.userId, text));
  }

  /** An administrator's answer to somebody who asked. */
  answer(groupId: string, applicant: string, answer: Answer, text = ''): void {
    this.client.transmit(outgoing.joinAnswer(groupId, applicant, answer, text));
  }

  leave(groupId: string): void {
    this.client.transmit(outgoing.leaveGroup(groupId, this.client.userId));
  }

  /** Ends the group, with all its messages. */
  disband(groupId: string): void {
    this.client.transmit(outgoing.disbandGroup(groupId, this.client.userId));
  }

  /** Whether messages of a group are to make a noise; told again at each log-in. */
  mute(groupId: string, muted: boolean): void {
    this.client.transmit(outgoing.modifyIsSilence(this.client.userId, groupId, muted));
  }
}
