// What a visitor sees: a launcher with a badge, and the window behind it.

import type { Line, Refused, Road, RoadEvents, RoadState } from './road';
import { style } from './style';
import type { Texts } from './texts';

export interface WindowSettings {
  readonly texts: Texts;
  readonly language: string;
  readonly accent: string;
  readonly maxCharacters: number;
  readonly isOpen: boolean;
  readonly makeRoad: (events: RoadEvents) => Road;
  readonly storage: Storage | undefined;
}

interface Shown {
  readonly state: HTMLElement;
  readonly element: HTMLElement;
}

const openKey = 'vnq-visitor-open';
const seenKey = 'vnq-visitor-seen';

// An element with properties and children; texts are set as texts, never as markup.
function make<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  properties: Record<string, unknown> = {},
  ...children: (Node | string)[]
): HTMLElementTagNameMap[Tag] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name in element) Reflect.set(element, name, value);
    else element.setAttribute(name, String(value));
  }
  element.append(...children);
  return element;
}

function icon(path: string): SVGElement {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  const drawn = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  drawn.setAttribute('d', path);
  svg.append(drawn);
  return svg;
}

export class ChatWindow {
  readonly host = document.createElement('vnq-visitor-chat');
  readonly #root = make('div', { className: 'root' });
  readonly #texts: Texts;
  readonly #road: Road;
  readonly #byRef = new Map<string, Shown>();
  readonly #ids = new Set<string>();
  readonly #badge = make('span', { className: 'badge', hidden: true });
  readonly #launcher: HTMLButtonElement;
  readonly #status = make('p', { className: 'status', role: 'status' });
  readonly #lines = make('ol', { className: 'lines', 'aria-live': 'polite', tabIndex: 0 });
  readonly #note = make('p', { className: 'note', role: 'status', hidden: true });
  readonly #input: HTMLTextAreaElement;
  readonly #send: HTMLButtonElement;
  readonly #write: HTMLFormElement;
  readonly #leave: HTMLFormElement;
  readonly #panel: HTMLElement;
  #leaving: string | undefined;
  #unread = 0;

  constructor(private readonly settings: WindowSettings) {
    const { texts } = settings;
    this.#texts = texts;
    this.#launcher = make('button', { className: 'launcher', type: 'button' }, icon('M12 3C6.5 3 2 6.9 2 11.6c0 2.6 1.4 4.9 3.5 6.5L5 22l4-2.2c1 .2 2 .4 3 .4 5.5 0 10-3.9 10-8.6S17.5 3 12 3Z'), this.#badge);
    this.#input = make('textarea', { rows: 2, maxLength: settings.maxCharacters, placeholder: texts.placeholder, 'aria-label': texts.placeholder });
    this.#send = make('button', { className: 'send', type: 'submit' }, texts.send);
    this.#write = make('form', {}, this.#input, this.#send);
    this.#leave = this.#makeForm();
    this.#panel = this.#makePanel();
    this.#listen();
    this.#build();
    this.#road = settings.makeRoad(this.#events());
    this.#greet();
    this.#road.start();
    this.show(settings.isOpen || this.#stored(openKey) === '1', false);
  }

  /** Opens or closes the window. */
  show(isOpen: boolean, moveFocus = true): void {
    this.#root.classList.toggle('open', isOpen);
    this.#panel.hidden = !isOpen;
    this.#launcher.hidden = isOpen;
    this.#store(openKey, isOpen ? '1' : '0');
    if (isOpen) this.#seen();
    else this.#nameLauncher();
    if (!moveFocus) return;
    if (isOpen) (this.#write.hidden ? this.#lines : this.#input).focus();
    else this.#launcher.focus();
  }

  get isOpen(): boolean {
    return !this.#panel.hidden;
  }

  destroy(): void {
    this.#road.stop();
    this.host.remove();
  }

  // --- building

  #makePanel(): HTMLElement {
    const { texts } = this.settings;
    const close = make('button', { className: 'close', type: 'button', 'aria-label': texts.close }, icon('M5 5 19 19M19 5 5 19'));
    close.addEventListener('click', () => this.show(false));
    const head = make('header', { className: 'head' }, make('div', {}, make('h2', {}, texts.title), this.#status), close);
    return make('section', { className: 'panel', role: 'dialog', 'aria-label': texts.title }, head, this.#lines, this.#note, this.#write, this.#leave);
  }

  #makeForm(): HTMLFormElement {
    const { texts } = this.settings;
    const field = (name: string, label: string, control: HTMLInputElement | HTMLTextAreaElement) =>
      make('label', {}, label, Object.assign(control, { name }));
    return make(
      'form',
      { className: 'leave', hidden: true },
      field('name', texts.formName, make('input', { maxLength: 200, autocomplete: 'name' })),
      field('contact', texts.formContact, make('input', { maxLength: 200, required: true })),
      field('text', texts.formText, make('textarea', { rows: 3, maxLength: this.settings.maxCharacters, required: true })),
      make('button', { className: 'send', type: 'submit' }, texts.formSend),
    );
  }

  #build(): void {
    this.host.lang = this.settings.language;
    const sheet = new CSSStyleSheet();
    sheet.replaceSync(style);
    const root = this.host.attachShadow({ mode: 'open' });
    root.adoptedStyleSheets = [sheet];
    if (this.settings.accent !== '') this.#root.style.setProperty('--accent', this.settings.accent);
    this.#root.append(this.#launcher, this.#panel);
    root.append(this.#root);
    this.#showState('connecting');
    document.body.append(this.host);
  }

  #listen(): void {
    this.#launcher.addEventListener('click', () => this.show(true));
    this.#panel.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') this.show(false);
    });
    this.#write.addEventListener('submit', (event) => this.#submit(event));
    this.#leave.addEventListener('submit', (event) => this.#submitForm(event));
    this.#input.addEventListener('input', () => this.#fit());
    this.#input.addEventListener('keydown', (event) => {
      if (event.key === 'Enter' && !event.shiftKey && !event.isComposing) this.#submit(event);
    });
    this.#fit();
  }

  #greet(): void {
    const { greeting, oneWay, agent } = this.#texts;
    this.#append({ isOwn: false, name: agent, text: this.#road.isTwoWay ? greeting : oneWay });
  }

  // --- writing

  #submit(event: Event): void {
    event.preventDefault();
    const text = this.#input.value.trim();
    if (text === '') return;
    this.#input.value = '';
    this.#fit();
    this.#say('');
    const ref = crypto.randomUUID?.() ?? `${Date.now()}-${Math.random()}`;
    this.#takeLine({ ref, isOwn: true, name: '', text });
    this.#road.send(ref, text);
  }

  #submitForm(event: Event): void {
    event.preventDefault();
    const data = new FormData(this.#leave);
    const value = (name: string) => String(data.get(name) ?? '').trim();
    this.#leaving = `form-${Date.now()}-${Math.random()}`;
    this.#say(this.#texts.sending);
    this.#road.leave(this.#leaving, { name: value('name'), contact: value('contact'), text: value('text') });
  }

  #fit(): void {
    this.#send.disabled = this.#input.value.trim() === '';
  }

  // --- what comes

  #events(): RoadEvents {
    return {
      state: (state) => this.#showState(state),
      line: (line) => this.#takeLine(line),
      taken: (ref) => this.#taken(ref),
      refused: (ref, why) => this.#refused(ref, why),
    };
  }

  #showState(state: RoadState): void {
    this.#root.dataset.state = state;
    this.#status.textContent = this.#texts[state];
    const isAway = state === 'away';
    if (isAway === this.#leave.hidden && (isAway || state === 'here')) this.#chooseForm(isAway);
    this.#write.hidden = this.#write.hidden || state === 'refused';
  }

  #chooseForm(isAway: boolean): void {
    this.#leave.hidden = !isAway;
    this.#write.hidden = isAway;
    this.#say(isAway ? this.#texts.formIntro : '');
  }

  #takeLine(line: Line): void {
    if (line.id !== undefined && this.#ids.has(line.id)) return;
    if (line.id !== undefined) this.#ids.add(line.id);
    if (line.ref !== undefined && this.#byRef.has(line.ref)) return;
    const shown = this.#append(line);
    if (line.ref !== undefined) this.#byRef.set(line.ref, shown);
    if (line.isOwn) shown.state.textContent = line.id === undefined ? this.#texts.sending : this.#texts.sent;
    else this.#count(line.id);
  }

  #append({ isOwn, name, text }: Line): Shown {
    const state = make('p', { className: 'state', hidden: !isOwn });
    const who = make('p', { className: 'who' }, isOwn ? this.#texts.you : name || this.#texts.agent);
    const element = make('li', { className: isOwn ? 'own' : '' }, who, make('p', { className: 'text' }, text), state);
    this.#lines.append(element);
    this.#lines.scrollTop = this.#lines.scrollHeight;
    return { state, element };
  }

  #taken(ref: string): void {
    const shown = this.#byRef.get(ref);
    if (shown) shown.state.textContent = this.#texts.sent;
    if (ref !== this.#leaving) return;
    this.#leave.reset();
    this.#say(this.#texts.formThanks);
  }

  #refused(ref: string, why: Refused): void {
    const words = why === 'too_long' ? this.#texts.tooLong : why === 'too_many' ? this.#texts.tooMany : this.#texts.formFailed;
    if (ref === this.#leaving) return this.#say(words, true);
    const shown = this.#byRef.get(ref);
    if (why === 'nobody') return this.#giveBack(ref, shown);
    if (shown) Object.assign(shown.state, { textContent: words, className: 'state bad' });
  }

  // Nobody is there any more: what was written stands in the form.
  #giveBack(ref: string, shown: Shown | undefined): void {
    const text = shown?.element.querySelector('.text')?.textContent ?? '';
    shown?.element.remove();
    this.#byRef.delete(ref);
    this.#showState('away');
    const field = this.#leave.elements.namedItem('text') as HTMLTextAreaElement;
    field.value = [field.value, text].filter((each) => each !== '').join('\n');
  }

  #say(words: string, isBad = false): void {
    this.#note.textContent = words;
    this.#note.hidden = words === '';
    this.#note.classList.toggle('bad', isBad);
  }

  // --- unread

  #count(id: string | undefined): void {
    if (id === undefined || this.#seenIds().has(id)) return;
    this.#unread += 1;
    if (this.isOpen) this.#seen();
    else this.#nameLauncher();
  }

  #seen(): void {
    this.#unread = 0;
    this.#store(seenKey, JSON.stringify([...this.#ids].slice(-200)));
    this.#nameLauncher();
  }

  #seenIds(): Set<string> {
    try {
      return new Set(JSON.parse(this.#stored(seenKey) ?? '[]'));
    } catch {
      return new Set();
    }
  }

  #nameLauncher(): void {
    const { open, unread } = this.#texts;
    this.#badge.hidden = this.#unread === 0;
    this.#badge.textContent = this.#unread > 99 ? '99+' : String(this.#unread);
    const count = this.#unread > 0 ? `, ${unread.replace('{count}', String(this.#unread))}` : '';
    this.#launcher.setAttribute('aria-label', open + count);
  }

  #stored(key: string): string | null | undefined {
    try {
      return this.settings.storage?.getItem(key);
    } catch {
      return undefined;
    }
  }

  #store(key: string, value: string): void {
    try {
      this.settings.storage?.setItem(key, value);
    } catch {
      // Then the badge counts a little more after a reload.
    }
  }
}
