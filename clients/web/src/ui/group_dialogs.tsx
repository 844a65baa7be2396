// Making a group, joining one, and looking after one.

import { useEffect, useState } from 'preact/hooks';
import { keyOf, open } from '../model/conversations';
import { changeGroup, groups, nameOfPerson, people } from '../model/directory';
import { client, gateway, ownId } from '../model/server';
import { refreshDirectory } from '../model/session';
import { toast } from '../model/toasts';
import { t } from '../texts';
import { attempt } from './attempt';
import { closeDialog } from './shown_dialog';
import { Avatar, Choice, Chooser, Dialog, Field, IconButton } from './parts';

interface Member {
  readonly id: string;
  readonly name: string;
  readonly admin: boolean;
}

function choicesWithout(ids: ReadonlySet<string>): Choice[] {
  return [...people.value.values()]
    .filter(({ id }) => !ids.has(id))
    .map(({ id, name, job }) => ({ id, name, hint: job }))
    .sort((a, b) => a.name.localeCompare(b.name));
}

const entriesOf = (ids: ReadonlySet<string>) =>
  [...ids].map((userId) => ({ userId, name: nameOfPerson(userId) }));

export function NewGroupDialog() {
  const [name, setName] = useState('');
  const [remark, setRemark] = useState('');
  const [chosen, setChosen] = useState<ReadonlySet<string>>(new Set());
  const [isBusy, setBusy] = useState(false);
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    setBusy(true);
    const isMade = await attempt(async () => {
      const ownName = nameOfPerson(ownId());
      const id = await client.value!.groups.create(name.trim(), entriesOf(chosen), { remark, ownName });
      await refreshDirectory();
      open(keyOf('group', id));
    });
    setBusy(false);
    if (isMade) closeDialog();
  };
  return (
    <Dialog title={t('new_group')} onClose={closeDialog}>
      <form onSubmit={onSubmit}>
        <Field label={t('group_name')} value={name} onInput={setName} required maxLength={50} />
        <Field label={t('group_remark')} value={remark} onInput={setRemark} maxLength={100} />
        <Chooser
          label={t('members')}
          choices={choicesWithout(new Set([ownId()]))}
          chosen={chosen}
          onChange={setChosen}
        />
        <footer>
          <button class="primary" disabled={isBusy || name.trim() === ''}>
            {t('create')}
          </button>
        </footer>
      </form>
    </Dialog>
  );
}

export function JoinGroupDialog() {
  const [id, setId] = useState('Clot');
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    if (await attempt(() => client.value!.groups.join(id.trim()))) {
      toast(t('asked'));
      closeDialog();
    }
  };
  return (
    <Dialog title={t('join_group')} onClose={closeDialog}>
      <form onSubmit={onSubmit}>
        <Field label={t('group_id')} value={id} onInput={setId} required maxLength={20} />
        <footer>
          <button class="primary">{t('ask_to_join')}</button>
        </footer>
      </form>
    </Dialog>
  );
}

function useMembers(id: string): [readonly Member[], () => void] {
  const [members, setMembers] = useState<readonly Member[]>([]);
  const load = () =>
    gateway.get<{ members: readonly Member[] }>('/api/members', { group: id }).then(
      (answer) => setMembers(answer.members),
      () => toast(t('history_unavailable')),
    );
  useEffect(() => {
    void load();
    // What the commands have changed is told by the server with a record of its own.
    return client.value?.on('memberships', ({ groupId }) => void (groupId === id && load()));
  }, [id]);
  return [members, () => void load()];
}

interface MemberRowProps {
  readonly group: string;
  readonly member: Member;
  readonly mayChange: boolean;
  readonly onChanged: () => void;
}

function MemberRow({ group, member, mayChange, onChanged }: MemberRowProps) {
  const { id, admin } = member;
  const name = member.name || nameOfPerson(id);
  const act = async (work: () => void) => {
    if (await attempt(work)) setTimeout(onChanged, 400);
  };
  return (
    <li>
      <Avatar id={id} name={name} />
      <span class="grow">{name}</span>
      {admin && <span class="tag">{t('administrator')}</span>}
      {mayChange && id !== ownId() && (
        <>
          <IconButton
            icon="friend"
            label={t(admin ? 'unmake_admin' : 'make_admin', name)}
            pressed={admin}
            onClick={() => void act(() => client.value!.groups.setAdministrator(group, id, !admin))}
          />
          <IconButton
            icon="close"
            label={t('remove', name)}
            onClick={() => void act(() => client.value!.groups.remove(group, [id]))}
          />
        </>
      )}
    </li>
  );
}

function GroupDetails({ id }: { id: string }) {
  const group = groups.value.get(id)!;
  const [name, setName] = useState(group.name);
  const [remark, setRemark] = useState(group.remark);
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    if (await attempt(() => client.value!.groups.change(id, name.trim(), remark))) toast(t('saved'));
  };
  return (
    <form onSubmit={onSubmit}>
      <Field label={t('group_name')} value={name} onInput={setName} required maxLength={50} />
      <Field label={t('group_remark')} value={remark} onInput={setRemark} maxLength={100} />
      <footer>
        <button class="secondary" disabled={name.trim() === ''}>{t('save')}</button>
      </footer>
    </form>
  );
}

function AddMembers({ id, members, onChanged }: { id: string; members: readonly Member[]; onChanged: () => void }) {
  const [chosen, setChosen] = useState<ReadonlySet<string>>(new Set());
  const present = new Set(members.map((member) => member.id));
  const add = async () => {
    if (!(await attempt(() => client.value!.groups.add(id, entriesOf(chosen))))) return;
    setChosen(new Set());
    setTimeout(onChanged, 400);
  };
  return (
    <details>
      <summary>{t('add_members')}</summary>
      <Chooser label={t('add_members')} choices={choicesWithout(present)} chosen={chosen} onChange={setChosen} />
      <button type="button" class="secondary" disabled={chosen.size === 0} onClick={() => void add()}>
        {t('add')}
      </button>
    </details>
  );
}

export function GroupDialog({ id }: { id: string }) {
  const [members, reload] = useMembers(id);
  const group = groups.value.get(id);
  if (!group) return null;
  const act = async (work: () => void, isEnd = false) => {
    if (!(await attempt(work)) || !isEnd) return;
    closeDialog();
    open('');
    setTimeout(() => void refreshDirectory().catch(() => undefined), 500);
  };
  const mute = () =>
    act(() => {
      client.value!.groups.mute(id, !group.muted);
      changeGroup(id, { muted: !group.muted });
    });
  return (
    <Dialog title={group.name} onClose={closeDialog}>
      <p class="hint">{id}</p>
      {group.admin ? <GroupDetails id={id} /> : <p>{group.remark}</p>}
      <h3>{t('members_count', String(members.length))}</h3>
      <ul class="members">
        {members.map((member) => (
          <MemberRow key={member.id} group={id} member={member} mayChange={group.admin} onChanged={reload} />
        ))}
      </ul>
      <AddMembers id={id} members={members} onChanged={reload} />
      <footer>
        <button type="button" class="secondary" aria-pressed={group.muted} onClick={() => void mute()}>
          {t(group.muted ? 'unmute' : 'mute')}
        </button>
        <button
          type="button"
          class="danger"
          onClick={() => confirm(t('leave_sure')) && void act(() => client.value!.groups.leave(id), true)}
        >
          {t('leave_group')}
        </button>
        {group.admin && (
          <button
            type="button"
            class="danger"
            onClick={() => confirm(t('disband_sure')) && void act(() => client.value!.groups.disband(id), true)}
          >
            {t('disband_group')}
          </button>
        )}
      </footer>
    </Dialog>
  );
}
