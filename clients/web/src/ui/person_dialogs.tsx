// Another person's card, and the own profile and password.

import { useEffect, useState } from 'preact/hooks';
import { keyOf, open } from '../model/conversations';
import { departments, friends, people } from '../model/directory';
import { client, gateway, ownId } from '../model/server';
import { refreshDirectory } from '../model/session';
import { toast } from '../model/toasts';
import { t, Text } from '../texts';
import { attempt } from './attempt';
import { closeDialog } from './shown_dialog';
import { Avatar, Dialog, Field, textOfState } from './parts';

interface ProfileAnswer {
  readonly name: string;
  readonly job: string;
  readonly age: string;
  readonly tel1: string;
  readonly tel2: string;
  readonly address: string;
  readonly school: string;
  readonly say: string;
  readonly constellation: string;
  readonly verify?: number;
}

type Editable = 'name' | 'job' | 'tel1' | 'tel2' | 'address' | 'say';
const editable: readonly [Editable, Text][] = [
  ['name', 'display_name'],
  ['job', 'job'],
  ['tel1', 'tel1'],
  ['tel2', 'tel2'],
  ['address', 'address'],
  ['say', 'say'],
];

function useProfile(id: string): [ProfileAnswer | undefined, (next: ProfileAnswer) => void] {
  const [profile, setProfile] = useState<ProfileAnswer>();
  useEffect(() => {
    gateway.get<ProfileAnswer>('/api/profile', id === ownId() ? {} : { user: id }).then(setProfile, () => {
      toast(t('history_unavailable'));
    });
  }, [id]);
  return [profile, setProfile];
}

export function PersonDialog({ id }: { id: string }) {
  const [profile] = useProfile(id);
  const person = people.value.get(id);
  if (!person) return null;
  const department = departments.value.find((each) => each.id === person.department)?.name;
  const isFriend = friends.value.has(id);
  const friend = async () => {
    const work = isFriend ? () => client.value!.friends.delete(id) : () => client.value!.friends.request(id);
    if (!(await attempt(work))) return;
    if (!isFriend) toast(t('asked'));
    closeDialog();
    setTimeout(() => void refreshDirectory().catch(() => undefined), 500);
  };
  return (
    <Dialog title={person.name} onClose={closeDialog}>
      <div class="card">
        <Avatar id={id} name={person.name} state={person.state} />
        <p>
          {textOfState(person.state)}
          <br />
          <span class="hint">{[person.job, department].filter(Boolean).join(' · ')}</span>
        </p>
      </div>
      <dl>
        {editable.slice(2).map(([key, label]) =>
          profile?.[key] ? (
            <div key={key}>
              <dt>{t(label)}</dt>
              <dd>{profile[key]}</dd>
            </div>
          ) : null,
        )}
      </dl>
      <footer>
        {id !== ownId() && (
          <button type="button" class={isFriend ? 'danger' : 'secondary'} onClick={() => void friend()}>
            {t(isFriend ? 'delete_friend' : 'add_friend')}
          </button>
        )}
        <button
          type="button"
          class="primary"
          onClick={() => {
            closeDialog();
            open(keyOf('peer', id));
          }}
        >
          {t('write')}
        </button>
      </footer>
    </Dialog>
  );
}

function OwnProfile() {
  const [profile, setProfile] = useProfile(ownId());
  if (!profile) return null;
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    const picture = { effigy: '', picture: ownId() };
    if (!(await attempt(() => client.value!.changeProfile({ ...profile, ...picture })))) return;
    toast(t('saved'));
    setTimeout(() => void refreshDirectory().catch(() => undefined), 500);
  };
  const setPolicy = (event: Event) => {
    const verify = Number((event.target as HTMLSelectElement).value) as 0 | 1 | 2;
    void attempt(() => {
      client.value!.setVerification(verify);
      setProfile({ ...profile, verify });
      toast(t('saved'));
    });
  };
  return (
    <>
      <form onSubmit={onSubmit}>
        {editable.map(([key, label]) => (
          <Field
            key={key}
            label={t(label)}
            value={profile[key] ?? ''}
            onInput={(value) => setProfile({ ...profile, [key]: value })}
            required={key === 'name'}
            maxLength={100}
          />
        ))}
        <footer>
          <button class="primary">{t('save')}</button>
        </footer>
      </form>
      <label class="field">
        <span>{t('friend_policy')}</span>
        <select value={String(profile.verify ?? 0)} onChange={setPolicy}>
          {(['policy_0', 'policy_1', 'policy_2'] as const).map((text, i) => (
            <option key={text} value={String(i)}>
              {t(text)}
            </option>
          ))}
        </select>
      </label>
    </>
  );
}

function ChangePassword() {
  const [first, setFirst] = useState('');
  const [second, setSecond] = useState('');
  const [trouble, setTrouble] = useState<Text | ''>('');
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    if (first !== second) return setTrouble('passwords_differ');
    if (first.trim() !== first || first === '' || /[|\r\n]|\.\+/.test(first)) return setTrouble('password_bad');
    setTrouble('');
    if (!(await attempt(() => client.value!.changePassword(first)))) return;
    setFirst('');
    setSecond('');
    toast(t('password_changed'));
  };
  return (
    <form onSubmit={onSubmit}>
      <h3>{t('change_password')}</h3>
      <p role="alert" class="trouble">{trouble && t(trouble)}</p>
      <Field label={t('new_password')} type="password" autoComplete="new-password" value={first} onInput={setFirst} required maxLength={50} />
      <Field label={t('repeat_password')} type="password" autoComplete="new-password" value={second} onInput={setSecond} required maxLength={50} />
      <footer>
        <button class="secondary">{t('change_password')}</button>
      </footer>
    </form>
  );
}

export function ProfileDialog() {
  return (
    <Dialog title={t('profile')} onClose={closeDialog}>
      <OwnProfile />
      <ChangePassword />
    </Dialog>
  );
}
