// The road to the server: one way, one piece at a time.
//
// The server never writes to a visitor, and it takes each arrival for exactly one frame. So pieces
// leave one by one with a pause between them. Two that meet in one arrival are lost, and nothing
// tells: a longer pause makes that rarer, and no pause rules it out.

import { customerRecord, lineRecord, piecesOf } from './records.js';

export const MIN_PACE_MS = 50;

const FIRST_RETRY_MS = 1000;
const LONGEST_RETRY_MS = 30000;

const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

/**
 * Events: "state" with detail { state, retryMs }, state being "connecting", "open", "waiting" (for
 * the next try) or "closed"; "progress" with detail { id, sent, pieces }, sent equal to pieces when
 * the line has left.
 */
export class Gateway extends EventTarget {
  #settings;
  #codePage;
  #socket = null;
  #state = 'closed';
  #retryMs = FIRST_RETRY_MS;
  #retryTimer = 0;
  #lines = [];
  #sending = false;
  #lastSentAt = 0;

  /** settings: { url, agents, visitor, city, arrivalText, paceMs }; agents[0] gets the lines. */
  constructor(settings, codePage) {
    super();
    this.#settings = { ...settings, paceMs: Math.max(MIN_PACE_MS, settings.paceMs) };
    this.#codePage = codePage;
  }

  get state() {
    return this.#state;
  }

  connect() {
    clearTimeout(this.#retryTimer);
    this.#setState('connecting');
    const socket = new WebSocket(this.#settings.url);
    this.#socket = socket;
    socket.addEventListener('open', () => this.#opened(socket));
    socket.addEventListener('close', () => this.#lost(socket));
  }

  close() {
    clearTimeout(this.#retryTimer);
    const socket = this.#socket;
    this.#socket = null;
    socket?.close();
    this.#setState('closed');
  }

  /** Queues a line; it leaves when those before it have left. */
  send(id, text) {
    const { agents, visitor, city } = this.#settings;
    const record = lineRecord({ agent: agents[0], visitor, city, text });
    this.#lines.push({ id, pieces: piecesOf(record, this.#codePage) });
    this.#work();
  }

  #setState(state, retryMs = 0) {
    this.#state = state;
    this.dispatchEvent(new CustomEvent('state', { detail: { state, retryMs } }));
  }

  async #opened(socket) {
    const { agents, visitor, city, arrivalText: text } = this.#settings;
    const pieces = piecesOf(customerRecord({ agents, visitor, city, text }), this.#codePage);
    // An announcement cannot be joined from pieces; without its text it is shorter.
    const short = piecesOf(customerRecord({ agents, visitor, city, text: '' }), this.#codePage);
    await this.#sendPiece(socket, (pieces.length === 1 ? pieces : short)[0]);
    if (this.#socket !== socket || socket.readyState !== WebSocket.OPEN) return;
    this.#retryMs = FIRST_RETRY_MS;
    this.#setState('open');
    this.#work();
  }

  #lost(socket) {
    if (this.#socket !== socket) return;
    this.#socket = null;
    this.#setState('waiting', this.#retryMs);
    this.#retryTimer = setTimeout(() => this.connect(), this.#retryMs);
    this.#retryMs = Math.min(this.#retryMs * 2, LONGEST_RETRY_MS);
  }

  async #sendPiece(socket, piece) {
    const due = this.#lastSentAt + this.#settings.paceMs - performance.now();
    if (due > 0) await pause(due);
    while (socket.readyState === WebSocket.OPEN && socket.bufferedAmount > 0) await pause(10);
    if (socket.readyState !== WebSocket.OPEN) return false;
    socket.send(piece);
    this.#lastSentAt = performance.now();
    return true;
  }

  // A line that a lost connection cut off is sent again from its head.
  async #work() {
    if (this.#sending) return;
    this.#sending = true;
    while (this.#state === 'open' && this.#lines.length > 0) {
      if (await this.#sendLine(this.#socket, this.#lines[0])) this.#lines.shift();
    }
    this.#sending = false;
  }

  async #sendLine(socket, { id, pieces }) {
    for (let sent = 0; sent < pieces.length; sent++) {
      if (this.#socket !== socket || !(await this.#sendPiece(socket, pieces[sent]))) return false;
      const detail = { id, sent: sent + 1, pieces: pieces.length };
      this.dispatchEvent(new CustomEvent('progress', { detail }));
    }
    return true;
  }
}
