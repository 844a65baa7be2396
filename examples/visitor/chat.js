// The visitor's window: puts itself into an element of the page that embeds it.

import { CodePage } from './code_page.js';
import { Gateway, MIN_PACE_MS } from './gateway.js';
import { visitorName } from './identity.js';
import { textsFor } from './texts.js';

const DEFAULTS = {
  agents: [],
  city: '',
  codePage: 936,
  paceMs: 80,
  maxCharacters: 2000,
  answer: '',
  language: '',
};

// An element with properties and children; texts are set as texts, never as markup.
function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
}

class ChatWindow {
  #texts;
  #settings;
  #gateway = null;
  #lines = new Map();
  #countdown = 0;

  constructor(root, settings) {
    this.#settings = settings;
    this.#texts = textsFor(settings.language || document.documentElement.lang || navigator.language);
    this.#build(root);
  }

  #build(root) {
    const texts = this.#texts;
    this.status = make('span', { className: 'vc-status', role: 'status' });
    this.list = make('ol', { className: 'vc-lines' });
    this.list.setAttribute('aria-live', 'polite');
    this.input = make('textarea', {
      className: 'vc-input',
      rows: 3,
      maxLength: this.#settings.maxCharacters,
      placeholder: texts.placeholder,
      ariaLabel: texts.placeholder,
    });
    this.left = make('span', { className: 'vc-left' });
    this.button = make('button', { className: 'vc-send', type: 'submit', textContent: texts.send });
    this.form = make(
      'form',
      { className: 'vc-form' },
      this.input,
      make('div', { className: 'vc-actions' }, this.left, this.button),
    );
    const answer = this.#settings.answer || texts.answer;
    root.classList.add('vc');
    root.replaceChildren(
      make(
        'header',
        { className: 'vc-head' },
        make('h2', { textContent: texts.title }),
        make('p', { className: 'vc-state' }, make('i', { className: 'vc-dot' }), this.status),
      ),
      make('p', { className: 'vc-note', textContent: texts.oneWay.replace('{answer}', answer) }),
      this.list,
      this.form,
    );
    this.root = root;
    this.form.addEventListener('submit', (event) => this.#submit(event));
    this.input.addEventListener('input', () => this.#showLeft());
    this.input.addEventListener('keydown', (event) => {
      if (event.key === 'Enter' && !event.shiftKey && !event.isComposing) this.#submit(event);
    });
    this.#showLeft();
    this.#showState('connecting');
  }

  async start() {
    const { gateway, agents, city, codePage, paceMs } = this.#settings;
    const settings = {
      url: gateway,
      agents,
      city,
      paceMs: Math.max(MIN_PACE_MS, paceMs),
      visitor: await visitorName(),
      arrivalText: this.#texts.arrival,
    };
    this.#gateway = new Gateway(settings, new CodePage(codePage));
    this.#gateway.addEventListener('state', ({ detail }) =>
      this.#showState(detail.state, detail.retryMs),
    );
    this.#gateway.addEventListener('progress', ({ detail }) => this.#showProgress(detail));
    this.#gateway.connect();
  }

  #showState(state, retryMs = 0) {
    clearInterval(this.#countdown);
    this.root.dataset.state = state;
    let seconds = Math.ceil(retryMs / 1000);
    const show = () => {
      const text = this.#texts[state];
      this.status.textContent = typeof text === 'function' ? text(Math.max(0, seconds)) : text;
    };
    show();
    if (state !== 'waiting') return;
    this.#countdown = setInterval(() => {
      seconds -= 1;
      show();
    }, 1000);
  }

  #showLeft() {
    const left = this.#settings.maxCharacters - this.input.value.length;
    this.left.textContent = this.#texts.characters(left);
    this.button.disabled = this.input.value.trim() === '';
  }

  #submit(event) {
    event.preventDefault();
    const text = this.input.value.trim();
    if (text === '' || this.#gateway === null) return;
    const id = this.#lines.size + 1;
    const state = make('span', {
      className: 'vc-line-state',
      textContent: this.#texts.lineWaiting,
    });
    const body = make('p', { className: 'vc-line-text', textContent: text });
    const line = make('li', { className: 'vc-line' }, body, state);
    line.dataset.state = 'waiting';
    this.#lines.set(id, { line, state });
    this.list.append(line);
    this.list.scrollTop = this.list.scrollHeight;
    this.input.value = '';
    this.#showLeft();
    this.#gateway.send(id, text);
  }

  #showProgress({ id, sent, pieces }) {
    const { line, state } = this.#lines.get(id);
    const done = sent === pieces;
    line.dataset.state = done ? 'sent' : 'sending';
    state.textContent = done ? this.#texts.lineSent : this.#texts.lineSending(sent, pieces);
    state.title = done ? this.#texts.lineSentTitle : '';
  }
}

/**
 * Puts the visitor's window into an element and connects it.
 *
 * settings: {
 *   gateway: "ws://im.example.com:6001/",   required
 *   agents: ["1001"],      UserIDs; all are told that the visitor is here, the first gets the lines
 *   city: "",              shown to the agent beside the visitor's name
 *   codePage: 936,         the server's code page
 *   paceMs: 80,            pause between two pieces, 50 at least
 *   maxCharacters: 2000,   of one line
 *   answer: "",            by which road answers come, in the visitor's language
 *   language: "",          "en" or "zh"; empty: the page's
 * }
 */
export function mountVisitorChat(root, settings) {
  const chat = new ChatWindow(root, { ...DEFAULTS, ...settings });
  return chat.start();
}
