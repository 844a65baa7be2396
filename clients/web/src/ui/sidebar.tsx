// The lists beside the conversation: chats, people, notices, visitors, requests, and what a search finds.

import { signal } from '@preact/signals';
import type { HistoryEntry } from '@vnq/client';
import type { ComponentChildren } from 'preact';
import { useEffect, useState } from 'preact/hooks';
import {
  chats,
  Conversation,
  conversation,
  current,
  keyOf,
  keyOfEntry,
  open,
  retracted,
  showEntry,
  titleOf,
  unreadChats,
  unreadNotices,
  unreadVisitors,
  visitors,
} from '../model/conversations';
import { friends, nameOfGroup, nameOfPerson, people, Person, sortedGroups, tree } from '../model/directory';
import { now } from '../model/lines';
import { answerRequest, dismissNews, news, Request, requests } from '../model/requests';
import { gateway, ownId } from '../model/server';
import { toast } from '../model/toasts';
import { wordsOf } from '../model/verify_words';
import { t } from '../texts';
import { attempt } from './attempt';
import { dialog } from './shown_dialog';
import { Avatar, Badge, Icon, IconButton, IconName, onArrowKeys, textOfState } from './parts';

type Tab = 'chats' | 'people' | 'visitors' | 'requests';
export const tab = signal<Tab>('chats');
const words = signal('');
const found = signal<readonly HistoryEntry[] | undefined>(undefined);

function shortTime(at: string): string {
  if (at === '') return '';
  return at.startsWith(now().slice(0, 10)) ? at.slice(11, 16) : at.slice(5, 10);
}

interface ListRowProps {
  readonly avatar: ComponentChildren;
  readonly title: ComponentChildren;
  readonly preview: string;
  readonly onClick: () => void;
  /** "2026-03-04 14:35:09" */
  readonly at?: string;
  readonly unread?: number;
  readonly isCurrent?: boolean;
  readonly isAbsent?: boolean;
}

function ListRow({ avatar, title, preview, onClick, at, unread = 0, isCurrent = false, isAbsent = false }: ListRowProps) {
  const kinds = ['row', ...(unread > 0 ? ['unread'] : []), ...(isAbsent ? ['absent'] : [])];
  return (
    <li>
      <button type="button" class={kinds.join(' ')} aria-current={isCurrent} onClick={onClick}>
        {avatar}
        <span class="grow">
          <span class="title">{title}</span>
          <span class="preview">{preview}</span>
        </span>
        {at !== undefined && (
          <span class="side">
            <span class="hint">{shortTime(at)}</span>
            <Badge count={unread} />
          </span>
        )}
      </button>
    </li>
  );
}

function ConversationRow({ about }: { about: Conversation }) {
  const { kind, id, unread, last, isHere } = about;
  const key = keyOf(kind, id);
  const title = titleOf(about);
  const state = kind === 'visitor' ? (isHere ? 1 : 0) : people.value.get(id)?.state;
  const who = last?.isOwn ? `${t('you')}: ` : kind === 'group' && last ? `${nameOfPerson(last.from)}: ` : '';
  const text = last && retracted.value.has(last.id) ? t('retracted') : last?.text ?? '';
  return (
    <ListRow
      avatar={<Avatar id={id || 'n'} name={title} kind={kind === 'group' ? 'group' : 'person'} {...(state === undefined ? {} : { state })} />}
      title={title}
      preview={who + text}
      at={last?.at ?? ''}
      unread={unread}
      isCurrent={key === current.value}
      onClick={() => open(key)}
    />
  );
}

function NoticesRow() {
  const { last, unread } = conversation('notices');
  return (
    <ListRow
      avatar={<span class="avatar group hue-0"><Icon name="notices" /></span>}
      title={t('notices')}
      preview={last?.text ?? ''}
      at={last?.at ?? ''}
      unread={unread}
      isCurrent={current.value === 'notices'}
      onClick={() => open('notices')}
    />
  );
}

function Chats() {
  const all = chats.value;
  return (
    <>
      <div class="tools">
        <button type="button" class="secondary" onClick={() => (dialog.value = { name: 'newGroup' })}>
          <Icon name="plus" /> {t('new_group')}
        </button>
        <button type="button" class="secondary" onClick={() => (dialog.value = { name: 'joinGroup' })}>
          {t('join_group')}
        </button>
      </div>
      <ul onKeyDown={onArrowKeys}>
        <NoticesRow />
        {all.map((each) => <ConversationRow key={keyOf(each.kind, each.id)} about={each} />)}
      </ul>
      {all.length === 0 && <p class="empty">{t('no_chats')}</p>}
    </>
  );
}

function PersonRow({ person }: { person: Person }) {
  const { id, name, state, job } = person;
  const key = keyOf('peer', id);
  return (
    <ListRow
      avatar={<Avatar id={id} name={name} state={state} />}
      title={<>{name}{friends.value.has(id) && <span class="tag">{t('friend')}</span>}</>}
      preview={[textOfState(state), job].filter(Boolean).join(' · ')}
      isCurrent={key === current.value}
      isAbsent={state === 0}
      onClick={() => open(key)}
    />
  );
}

function GroupRows({ wanted }: { wanted: (name: string) => boolean }) {
  const shown = sortedGroups.value.filter(({ name }) => wanted(name));
  if (shown.length === 0) return null;
  return (
    <section>
      <h2>{t('groups')}</h2>
      <ul>
        {shown.map(({ id, name, remark }) => (
          <ListRow
            key={id}
            avatar={<Avatar id={id} name={name} kind="group" />}
            title={name}
            preview={remark}
            isCurrent={keyOf('group', id) === current.value}
            onClick={() => open(keyOf('group', id))}
          />
        ))}
      </ul>
    </section>
  );
}

function PeopleList({ wanted }: { wanted: (name: string) => boolean }) {
  return (
    <div onKeyDown={onArrowKeys}>
      {tree.value.map(({ department, depth, people: all }) => {
        const shown = all.filter(({ id, name, login }) => id !== ownId() && wanted(`${name} ${login}`));
        if (shown.length === 0) return null;
        const there = shown.filter(({ state }) => state > 0).length;
        return (
          <section key={department.id} class={`depth-${Math.min(depth, 3)}`}>
            <h2>
              {department.name || t('no_department')} <span class="hint">{there}/{shown.length}</span>
            </h2>
            <ul>{shown.map((person) => <PersonRow key={person.id} person={person} />)}</ul>
          </section>
        );
      })}
      <GroupRows wanted={wanted} />
    </div>
  );
}

function Visitors() {
  const all = visitors.value;
  if (all.length === 0) return <p class="empty">{t('no_visitors')}</p>;
  return (
    <ul onKeyDown={onArrowKeys}>
      {all.map((each) => <ConversationRow key={each.id} about={each} />)}
    </ul>
  );
}

function RequestCard({ request }: { request: Request }) {
  const { about, userId, groupId, text } = request;
  const name = nameOfPerson(userId, request.name);
  const say = about === 'friend' ? t('friend_asks', name) : t('group_asks', name, nameOfGroup(groupId));
  const answer = (kind: 'accept' | 'refuse' | 'block') => void attempt(() => answerRequest(request, kind));
  return (
    <li class="request">
      <Avatar id={userId} name={name} />
      <div class="grow">
        <p>{say}</p>
        {text !== '' && <p class="hint">{text}</p>}
        <div class="tools">
          <button type="button" class="primary" onClick={() => answer('accept')}>{t('accept')}</button>
          <button type="button" class="secondary" onClick={() => answer('refuse')}>{t('refuse')}</button>
          <button type="button" class="plain" onClick={() => answer('block')}>{t('block')}</button>
        </div>
      </div>
    </li>
  );
}

function NewsList() {
  if (news.value.length === 0) return null;
  return (
    <section class="news">
      <h2>{t('meanwhile')}</h2>
      <ul>
        {news.value.map(({ verify, name, targetName, at }) => (
          <li key={`${at}${verify.step}${verify.userId}${verify.target}`} class="request">
            <Avatar id={verify.userId} name={nameOfPerson(verify.userId, name)} />
            <p class="grow">{wordsOf(verify, name, targetName)}</p>
            <span class="hint">{shortTime(at)}</span>
          </li>
        ))}
      </ul>
      <div class="tools">
        <button type="button" class="secondary" onClick={dismissNews}>{t('dismiss')}</button>
      </div>
    </section>
  );
}

function Requests() {
  const isEmpty = requests.value.length + news.value.length === 0;
  if (isEmpty) return <p class="empty">{t('no_requests')}</p>;
  return (
    <>
      <ul>
        {requests.value.map((request) => (
          <RequestCard key={`${request.about}${request.userId}${request.groupId}`} request={request} />
        ))}
      </ul>
      <NewsList />
    </>
  );
}

function FoundRow({ entry }: { entry: HistoryEntry }) {
  const [kind, id = ''] = keyOfEntry(entry).split('/');
  const title = titleOf({ kind: kind as Conversation['kind'], id });
  const show = () => showEntry(entry).catch(() => toast(t('history_unavailable')));
  return (
    <ListRow
      avatar={<Avatar id={id || 'n'} name={title} kind={kind === 'group' ? 'group' : 'person'} />}
      title={title}
      preview={(entry.own ? `${t('you')}: ` : '') + entry.text}
      at={entry.time}
      onClick={() => void show()}
    />
  );
}

// People whose names hold the words, and what was said.
function Found() {
  const text = words.value.trim().toLowerCase();
  useEffect(() => {
    const stop = new AbortController();
    const timer = setTimeout(() => {
      gateway.search(text, { limit: 60 }, stop.signal).then(
        ({ entries }) => (found.value = [...entries].reverse()),
        () => !stop.signal.aborted && (found.value = []),
      );
    }, 250);
    return () => {
      stop.abort();
      clearTimeout(timer);
    };
  }, [text]);
  const wanted = (name: string) => name.toLowerCase().includes(text);
  return (
    <div onKeyDown={onArrowKeys}>
      <PeopleList wanted={wanted} />
      {found.value && (
        <section aria-live="polite">
          <h2>{t('search_messages')}</h2>
          {found.value.length === 0 && <p class="empty">{t('no_results')}</p>}
          <ul>{found.value.map((entry) => <FoundRow key={`${entry.kind}${entry.Msg_ID}${entry.to}`} entry={entry} />)}</ul>
        </section>
      )}
    </div>
  );
}

function TabButton({ name, icon, count }: { name: Tab; icon: IconName; count: number }) {
  return (
    <button
      type="button"
      class="tab"
      aria-current={tab.value === name && words.value === '' ? 'page' : undefined}
      onClick={() => {
        words.value = '';
        tab.value = name;
      }}
    >
      <Icon name={icon} />
      <span>{t(name)}</span>
      <Badge count={count} />
    </button>
  );
}

const panels = { chats: Chats, visitors: Visitors, requests: Requests, people: () => <PeopleList wanted={() => true} /> };

export function Sidebar() {
  const [isOnPhone] = useState(() => window.matchMedia('(max-width: 700px)').matches);
  const self = people.value.get(ownId());
  const Panel = words.value.trim() === '' ? panels[tab.value] : Found;
  return (
    <div class="sidebar">
      <header class="me">
        <Avatar id={ownId()} name={self?.name ?? ''} state={self?.state ?? 0} />
        <div class="grow">
          <strong>{self?.name}</strong>
        </div>
        <IconButton icon="settings" label={t('settings')} onClick={() => (dialog.value = { name: 'settings' })} />
      </header>
      <search class="search">
        <Icon name="search" />
        <input
          type="search"
          id="search"
          aria-label={t('search')}
          placeholder={isOnPhone ? t('search') : `${t('search')}  (Ctrl K)`}
          value={words.value}
          onInput={(event) => (words.value = (event.target as HTMLInputElement).value)}
        />
      </search>
      <nav class="tabs" aria-label={t('main_menu')}>
        <TabButton name="chats" icon="chats" count={unreadChats.value + unreadNotices.value} />
        <TabButton name="people" icon="people" count={0} />
        <TabButton name="visitors" icon="visitors" count={unreadVisitors.value} />
        <TabButton name="requests" icon="requests" count={requests.value.length + news.value.length} />
      </nav>
      <div class="panel">
        <Panel />
      </div>
    </div>
  );
}
