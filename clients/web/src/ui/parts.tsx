// Small parts that all pages are made of.

import type { ComponentChildren } from 'preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { t } from '../texts';

const icons = {
  chats: 'M4 5h16v11H10l-4 4v-4H4z',
  people: 'M9 11a3.5 3.5 0 1 0 0-7 3.5 3.5 0 0 0 0 7zm-7 9c0-4 3-6.5 7-6.5s7 2.5 7 6.5zm13-9.5a3 3 0 1 0-1.5-5.6M17 14c3 .6 5 2.8 5 6h-3.5',
  notices: 'M4 10v4l3 .5 1 5h2.5l-.7-4.5L19 18V6L7 9.5z',
  visitors: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM3 12h18M12 3c-5 5-5 13 0 18M12 3c5 5 5 13 0 18',
  requests: 'M10 11a3.5 3.5 0 1 0 0-7 3.5 3.5 0 0 0 0 7zm-7 9c0-4 3-6.5 7-6.5 1.5 0 3 .4 4 1M18 14v7M14.5 17.5h7',
  search: 'M10.5 4a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13zM15.5 15.5 21 21',
  settings: 'M4 7h9M19 7h1M4 17h1M11 17h9M16 4.5v5M8 14.5v5',
  send: 'M4 4l17 8-17 8 3-8z',
  back: 'M15 4l-8 8 8 8',
  plus: 'M12 5v14M5 12h14',
  info: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM12 11v6M12 7.5v.5',
  nudge: 'M8 5v14M16 5v14M4 9v6M20 9v6',
  retract: 'M9 7 4 12l5 5M4 12h11a5 5 0 0 1 0 10',
  close: 'M6 6l12 12M18 6 6 18',
  file: 'M6 3h8l4 4v14H6zM14 3v4h4',
  queued: 'M12 4a8 8 0 1 0 0 16 8 8 0 0 0 0-16zM12 8v4l3 2',
  sent: 'M12 4a8 8 0 1 0 0 16 8 8 0 0 0 0-16zM12 8v4l3 2',
  stored: 'M5 13l4 4L19 7',
  delivered: 'M2 13l4 4L15 7M10 15l2 2L22 7',
  withdrawn: 'M6 6l12 12M18 6 6 18',
  muted: 'M4 10v4h3l5 4V6L7 10zM16 9.5l5 5M21 9.5l-5 5',
  friend: 'M12 4l2.4 5.2 5.6.6-4.2 3.8 1.2 5.6L12 16.4 7 19.2l1.2-5.6L4 9.8l5.6-.6z',
};

export type IconName = keyof typeof icons;

/** A picture beside a text, or in a button that has a name of its own. */
export function Icon({ name }: { name: IconName }) {
  return (
    <svg class="icon" viewBox="0 0 24 24" aria-hidden="true" focusable="false">
      <path d={icons[name]} />
    </svg>
  );
}

interface IconButtonProps {
  readonly icon: IconName;
  readonly label: string;
  readonly onClick: () => void;
  readonly pressed?: boolean;
  readonly kind?: string;
}

export function IconButton({ icon, label, onClick, pressed, kind = '' }: IconButtonProps) {
  return (
    <button
      type="button"
      class={`icon-button ${kind}`}
      aria-label={label}
      title={label}
      aria-pressed={pressed}
      onClick={onClick}
    >
      <Icon name={icon} />
    </button>
  );
}

// The first sign of a Chinese name's given part says more than the family's; of others two initials.
function initials(name: string): string {
  const words = name.trim().split(/\s+/).filter(Boolean);
  if (words.length === 0) return '?';
  if (/[\u2e80-\u9fff]/.test(words[0])) return [...words[0]].slice(-1)[0];
  return words.slice(0, 2).map((word) => [...word][0].toUpperCase()).join('');
}

function hueOf(id: string): number {
  let sum = 0;
  for (const character of id) sum = (sum * 31 + character.charCodeAt(0)) % 6_007;
  return sum % 8;
}

interface AvatarProps {
  readonly id: string;
  readonly name: string;
  readonly kind?: 'person' | 'group';
  /** 0 to 3 of a person. */
  readonly state?: number;
}

const stateTexts = ['offline', 'online', 'away', 'phone'] as const;
export const textOfState = (state: number) => t(stateTexts[state] ?? 'offline');

export function Avatar({ id, name, kind = 'person', state }: AvatarProps) {
  return (
    <span class={`avatar hue-${hueOf(id)} ${kind}`} aria-hidden="true">
      {initials(name)}
      {state !== undefined && <span class={`dot state-${state}`} />}
    </span>
  );
}

export function Badge({ count }: { count: number }) {
  if (count === 0) return null;
  return (
    <span class="badge">
      <span aria-hidden="true">{count > 99 ? '99+' : count}</span>
      <span class="unseen">{t('unread_count', String(count))}</span>
    </span>
  );
}

interface DialogProps {
  readonly title: string;
  readonly onClose: () => void;
  readonly children: ComponentChildren;
}

/** A dialog in front of everything; Escape and a click beside it close it. */
export function Dialog({ title, onClose, children }: DialogProps) {
  const element = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const dialog = element.current!;
    if (!dialog.open) dialog.showModal();
  }, []);
  return (
    <dialog
      ref={element}
      aria-label={title}
      onClose={onClose}
      onMouseDown={(event) => event.target === element.current && element.current!.close()}
    >
      <div class="dialog">
        <header>
          <h2>{title}</h2>
          <IconButton icon="close" label={t('close')} onClick={() => element.current!.close()} />
        </header>
        {children}
      </div>
    </dialog>
  );
}

interface FieldProps {
  readonly label: string;
  readonly value: string;
  readonly onInput: (value: string) => void;
  readonly type?: string;
  readonly autoComplete?: string;
  readonly required?: boolean;
  readonly maxLength?: number;
  readonly lines?: number;
}

export function Field({ label, value, onInput, type = 'text', lines, ...rest }: FieldProps) {
  const onText = (event: Event) => onInput((event.target as HTMLInputElement).value);
  return (
    <label class="field">
      <span>{label}</span>
      {lines ? (
        <textarea rows={lines} value={value} onInput={onText} {...rest} />
      ) : (
        <input type={type} value={value} onInput={onText} {...rest} />
      )}
    </label>
  );
}

export interface Choice {
  readonly id: string;
  readonly name: string;
  readonly hint?: string;
}

interface ChooserProps {
  readonly label: string;
  readonly choices: readonly Choice[];
  readonly chosen: ReadonlySet<string>;
  readonly onChange: (chosen: ReadonlySet<string>) => void;
}

/** Boxes to tick, with a filter where there are many. */
export function Chooser({ label, choices, chosen, onChange }: ChooserProps) {
  const [filter, setFilter] = useState('');
  const words = filter.toLowerCase();
  const shown = choices.filter(({ id, name }) => `${name} ${id}`.toLowerCase().includes(words));
  const toggle = (id: string) => {
    const next = new Set(chosen);
    if (!next.delete(id)) next.add(id);
    onChange(next);
  };
  return (
    <fieldset class="chooser">
      <legend>
        {label} ({chosen.size})
      </legend>
      {choices.length > 8 && (
        <input
          type="search"
          aria-label={t('search_people')}
          placeholder={t('search_people')}
          value={filter}
          onInput={(event) => setFilter((event.target as HTMLInputElement).value)}
        />
      )}
      <div class="choices">
        {shown.map(({ id, name, hint }) => (
          <label key={id}>
            <input type="checkbox" checked={chosen.has(id)} onChange={() => toggle(id)} />
            <Avatar id={id} name={name} />
            <span class="grow">{name}</span>
            <span class="hint">{hint}</span>
          </label>
        ))}
      </div>
    </fieldset>
  );
}

/** Up and down go through the buttons of a list. */
export function onArrowKeys(event: KeyboardEvent): void {
  const step = event.key === 'ArrowDown' ? 1 : event.key === 'ArrowUp' ? -1 : 0;
  if (step === 0) return;
  const list = event.currentTarget as HTMLElement;
  const buttons = [...list.querySelectorAll<HTMLElement>('button.row')];
  const at = buttons.indexOf(document.activeElement as HTMLElement);
  const next = buttons[at + step];
  if (!next) return;
  event.preventDefault();
  next.focus();
}
