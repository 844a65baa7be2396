// One conversation: its head, its lines, and the box to write in.

import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import {
  Conversation,
  conversation,
  conversations,
  current,
  highlighted,
  loadLatest,
  loadOlder,
  open,
  retracted,
  retractLine,
  sendLine,
  titleOf,
} from '../model/conversations';
import { groups, nameOfPerson, people } from '../model/directory';
import { Line, now } from '../model/lines';
import { client, connection, ownId } from '../model/server';
import { remember, remembered } from '../model/storage';
import { toast } from '../model/toasts';
import { language, t } from '../texts';
import { dialog } from './shown_dialog';
import { Avatar, Icon, IconButton, textOfState } from './parts';

function dayWords(day: string): string {
  const today = now().slice(0, 10);
  const yesterday = new Date(Date.now() - 86_400_000);
  const [year, month, date] = day.split('-').map(Number);
  const asDate = new Date(year, month - 1, date);
  if (day === today) return t('today');
  if (asDate.toDateString() === yesterday.toDateString()) return t('yesterday');
  const locale = language.value === 'zh' ? 'zh-CN' : 'en-GB';
  return asDate.toLocaleDateString(locale, { year: 'numeric', month: 'long', day: 'numeric', weekday: 'short' });
}

// Addresses of the web become links; everything else stays text.
function Words({ text }: { text: string }) {
  const pieces = text.split(/(https?:\/\/[^\s<>"'，。；）]+)/);
  return (
    <>
      {pieces.map((piece, i) =>
        i % 2 === 1 ? (
          <a key={i} href={piece} target="_blank" rel="noopener noreferrer">
            {piece}
          </a>
        ) : (
          piece
        ),
      )}
    </>
  );
}

function NoticeBody({ line }: { line: Line }) {
  const { title, content, link } = line.notice!;
  return (
    <>
      <strong>{title}</strong>
      {content !== '' && <p><Words text={content} /></p>}
      {link !== '' && <p><Words text={link} /></p>}
    </>
  );
}

function Body({ line }: { line: Line }) {
  if (retracted.value.has(line.id)) return <em>{t('retracted')}</em>;
  if (line.notice) return <NoticeBody line={line} />;
  return (
    <>
      {(line.isFile || line.isForm) && (
        <span class={`tag ${line.isForm ? 'above' : ''}`}>
          <Icon name="file" /> {t(line.isForm ? 'form' : 'file')}
        </span>
      )}
      <Words text={line.text} />
    </>
  );
}

function Status({ line }: { line: Line }) {
  if (!line.status || retracted.value.has(line.id)) return null;
  return (
    <span class={`status ${line.status}`} title={t(line.status)}>
      <Icon name={line.status} />
      <span class="unseen">{t(line.status)}</span>
    </span>
  );
}

function nameOf(line: Line, about: Conversation): string {
  if (line.isOwn) return t('you');
  if (line.from === about.id) return titleOf(about);
  return line.from === '' ? '' : nameOfPerson(line.from);
}

interface LineViewProps {
  readonly line: Line;
  readonly about: Conversation;
  readonly isFirst: boolean;
}

function LineView({ line, about, isFirst }: LineViewProps) {
  const name = nameOf(line, about);
  const mayRetract = line.isOwn && about.kind !== 'visitor' && about.kind !== 'notices' && !retracted.value.has(line.id);
  const kind = `line ${line.isOwn ? 'own' : 'other'} ${isFirst ? 'first' : ''} ${highlighted.value === line.id ? 'found' : ''}`;
  return (
    <li class={kind} data-id={line.id}>
      {!line.isOwn && about.kind !== 'notices' && (
        <span class="avatar-place">{isFirst && <Avatar id={line.from} name={name} />}</span>
      )}
      <div class="bubble">
        <span class={about.kind === 'group' && !line.isOwn && isFirst ? 'who' : 'unseen'}>{name}</span>
        <div class="text"><Body line={line} /></div>
        <span class="meta">
          <time dateTime={line.at.replace(' ', 'T')}>{line.at.slice(11, 16)}</time>
          <Status line={line} />
        </span>
      </div>
      {mayRetract && (
        <IconButton icon="retract" label={t('retract')} kind="quiet" onClick={() => retractLine(current.value, line)} />
      )}
    </li>
  );
}

// Lines of one person within five minutes stand together.
function opens(line: Line, before: Line | undefined): boolean {
  if (!before || before.from !== line.from || before.isOwn !== line.isOwn) return true;
  const minutes = (at: string) => Date.parse(at.replace(' ', 'T')) / 60_000;
  return minutes(line.at) - minutes(before.at) > 5;
}

function Lines({ about }: { about: Conversation }) {
  const list = useRef<HTMLDivElement>(null);
  const wasAtEnd = useRef(true);
  const height = useRef(0);
  const { lines, hasOlder, isLoaded } = about;
  const first = lines[0]?.id;
  const last = lines[lines.length - 1]?.id;

  // Stays at the end when it was there; stays where it was when older lines come in front.
  useLayoutEffect(() => {
    const element = list.current!;
    const found = highlighted.value && element.querySelector('.found');
    if (found) found.scrollIntoView({ block: 'center' });
    else if (wasAtEnd.current) element.scrollTop = element.scrollHeight;
    else if (height.current > 0 && element.scrollTop < 40) element.scrollTop += element.scrollHeight - height.current;
    height.current = element.scrollHeight;
  }, [first, last, lines.length, highlighted.value]);

  const onScroll = () => {
    const element = list.current!;
    wasAtEnd.current = element.scrollHeight - element.scrollTop - element.clientHeight < 60;
    height.current = element.scrollHeight;
  };
  return (
    <div class="lines" ref={list} onScroll={onScroll} tabIndex={0} role="log" aria-live="polite" aria-label={t('conversation_with', titleOf(about))}>
      {hasOlder && (
        <button type="button" class="plain centered" onClick={() => void loadOlder(current.value).catch(() => toast(t('history_unavailable')))}>
          {t('older')}
        </button>
      )}
      {isLoaded && lines.length === 0 && <p class="empty">{t('no_lines')}</p>}
      <ul>
        {lines.flatMap((line, i) => {
          const day = line.at.slice(0, 10);
          const isNewDay = lines[i - 1]?.at.slice(0, 10) !== day;
          const isFirst = isNewDay || opens(line, lines[i - 1]);
          const view = <LineView key={line.id} line={line} about={about} isFirst={isFirst} />;
          return isNewDay ? [<li key={day} class="day"><span>{dayWords(day)}</span></li>, view] : [view];
        })}
      </ul>
    </div>
  );
}

const maxLength = 3_000;
const draftOf = (about: string) => `draft.${ownId()}.${about}`;

function Composer({ about, name }: { about: string; name: string }) {
  const [text, setText] = useState(() => remembered(draftOf(about), ''));
  const box = useRef<HTMLTextAreaElement>(null);
  useEffect(() => {
    if (window.matchMedia('(min-width: 701px)').matches) box.current?.focus();
  }, []);
  useLayoutEffect(() => {
    const element = box.current!;
    element.rows = Math.min(8, Math.max(1, text.split('\n').length));
  }, [text]);
  const onText = (next: string) => {
    setText(next);
    remember(draftOf(about), next);
  };
  const send = () => {
    if (text.trim() === '') return;
    sendLine(about, text.trim());
    onText('');
    box.current?.focus();
  };
  const onKeyDown = (event: KeyboardEvent) => {
    if (event.key !== 'Enter' || event.shiftKey || event.isComposing) return;
    event.preventDefault();
    send();
  };
  return (
    <form
      class="composer"
      onSubmit={(event) => {
        event.preventDefault();
        send();
      }}
    >
      <textarea
        ref={box}
        rows={1}
        maxLength={maxLength}
        value={text}
        aria-label={t('write_to', name)}
        placeholder={t('write')}
        onInput={(event) => onText((event.target as HTMLTextAreaElement).value)}
        onKeyDown={onKeyDown}
      />
      <button class="primary round" aria-label={t('send')} title={t('send')} disabled={text.trim() === ''}>
        <Icon name="send" />
      </button>
    </form>
  );
}

function subtitle({ kind, id, city, isHere }: Conversation): string {
  if (kind === 'peer') {
    const person = people.value.get(id);
    return person ? [textOfState(person.state), person.job].filter(Boolean).join(' · ') : '';
  }
  if (kind === 'visitor') return [city, t(isHere ? 'here' : 'gone')].filter(Boolean).join(' · ');
  if (kind === 'group') {
    const group = groups.value.get(id);
    return [group?.muted ? t('muted') : '', group?.remark ?? ''].filter(Boolean).join(' · ');
  }
  return '';
}

function Head({ about, title }: { about: Conversation; title: string }) {
  const { kind, id } = about;
  const person = people.value.get(id);
  const nudge = () => {
    if (connection.value !== 'ready') return toast(t('not_connected'));
    client.value?.nudge(id);
    toast(t('nudged', title));
  };
  return (
    <header class="head">
      <IconButton icon="back" label={t('back')} kind="phone-only" onClick={() => open('')} />
      {kind !== 'notices' && (
        <Avatar id={id} name={title} kind={kind === 'group' ? 'group' : 'person'} {...(person ? { state: person.state } : {})} />
      )}
      <div class="grow">
        <h2>{title}</h2>
        <p>{subtitle(about)}</p>
      </div>
      {kind === 'peer' && person && <IconButton icon="nudge" label={t('nudge')} onClick={nudge} />}
      {kind === 'peer' && person && (
        <IconButton icon="info" label={person.name} onClick={() => (dialog.value = { name: 'person', id })} />
      )}
      {kind === 'group' && (
        <IconButton icon="info" label={t('group_info')} onClick={() => (dialog.value = { name: 'group', id })} />
      )}
      {kind === 'notices' && (
        <IconButton icon="plus" label={t('post_notice')} onClick={() => (dialog.value = { name: 'notice' })} />
      )}
    </header>
  );
}

export function ConversationView() {
  const key = current.value;
  const about = conversations.value.get(key) ?? conversation(key);
  const title = titleOf(about);
  return (
    <section class="conversation" aria-label={t('conversation_with', title)}>
      <Head about={about} title={title} />
      <Lines key={key} about={about} />
      {about.isWindow && (
        <button type="button" class="plain centered" onClick={() => void loadLatest(key).then(() => (highlighted.value = ''))}>
          {t('to_latest')}
        </button>
      )}
      {about.kind !== 'notices' && <Composer key={`write ${key}`} about={key} name={title} />}
    </section>
  );
}
