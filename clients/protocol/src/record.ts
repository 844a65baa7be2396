// The wire form of records: bytes as they come in, records out, and the texts that carry a record.
//
//   stream  = { text }                      one Base64 text per send of the server, back to back
//   text    = { group } [ padded group ]    groups of four characters; a padded group ends its text
//   record  = ".+" word { "|" field }       ends where the next ".+" begins, at a padded group, or
//                                           in silence
//
// A closing "|#" is no end mark: some records have none, and a field may be "#" by chance. So the
// last record of an unpadded text is known to be whole only when nothing more comes.

import { base64Decode, base64Encode } from './base64';
import type { CodePage } from './code_page';
import { escapeText } from './escape';

/** A record that the wire cannot carry, or one that asks for something impossible. */
export class RecordError extends Error {
  override name = 'RecordError';
}

/** A record from its word, with its prefix, and its fields; closed by "|#". */
export function joinRecord(word: string, ...fields: readonly (string | number)[]): string {
  for (const field of fields) {
    if (/[|\r\n]|\.\+/.test(String(field))) {
      throw new RecordError(`${word}: a field cannot hold "|", ".+" or a line break: "${field}"`);
    }
  }
  return [word, ...fields, '#'].join('|');
}

/** The fields of a record: [0] is the word with its prefix; one that is missing is "". */
export class RecordFields {
  readonly #elements: string[];

  constructor(readonly record: string) {
    this.#elements = record.split('|');
  }

  get word(): string {
    return this.#elements[0];
  }

  /** How many elements there are, the word and a closing "#" included. */
  get size(): number {
    return this.#elements.length;
  }

  at(field: number): string {
    return this.#elements[field] ?? '';
  }
}

const prefix = '.+';

// A server that never closes a record must not fill the memory.
const maxRecordBytes = 1 << 24;

const isAlphabet = /[A-Za-z0-9+/]/;

/**
 * Incremental reader of what a server sends. Where the stream is cut into reads makes no difference
 * to what comes out.
 */
export class RecordStream {
  readonly #page: CodePage;
  #group = '';
  #rest: number[] = [];

  constructor(page: CodePage) {
    this.#page = page;
  }

  /**
   * Takes the bytes of a read; returns the records that are complete now, in order.
   *
   * Characters outside the Base64 alphabet are dropped. A piece that does not begin with ".+" (the
   * server sent something that is no record) comes out as it is.
   */
  feed(bytes: Uint8Array): string[] {
    const records: string[] = [];
    for (const byte of bytes) {
      const character = String.fromCharCode(byte);
      const padding = character === '=' && this.#group.length >= 2;
      if (!padding && !isAlphabet.test(character)) continue;
      this.#group += character;
      if (this.#group.length < 4) continue;
      // "xx=" with something else behind it: the text has ended all the same.
      const early = !padding && this.#group[2] === '=';
      const left = early ? character : '';
      this.#takeGroup(early ? this.#group.slice(0, 3) : this.#group, records);
      this.#group = left;
    }
    return records;
  }

  /** True when part of a record is held back. */
  get hasRest(): boolean {
    return this.#rest.length > 0;
  }

  /** True when what is held back ends in "|#", as nearly every record does, at a whole group. */
  get restLooksComplete(): boolean {
    const length = this.#rest.length;
    return this.#group === '' && length >= 2 && this.#isAt(length - 2, '|#');
  }

  /** What is held back, as a record; nothing when there is none. A half read group is dropped. */
  takeRest(): string[] {
    const records: string[] = [];
    this.#group = '';
    this.#emit(this.#rest.length, records);
    return records;
  }

  #takeGroup(group: string, records: string[]): void {
    const from = Math.max(this.#rest.length - 1, 1);
    for (const byte of base64Decode(group)) this.#rest.push(byte);
    this.#cutAtPrefixes(from, records);
    if (group.endsWith('=') || this.#rest.length > maxRecordBytes) {
      this.#emit(this.#rest.length, records);
    }
  }

  #cutAtPrefixes(from: number, records: string[]): void {
    for (let at = from; at + 1 < this.#rest.length; ++at) {
      if (!this.#isAt(at, prefix)) continue;
      this.#emit(at, records);
      at = 0;
    }
  }

  #isAt(at: number, two: string): boolean {
    return this.#rest[at] === two.charCodeAt(0) && this.#rest[at + 1] === two.charCodeAt(1);
  }

  #emit(length: number, records: string[]): void {
    const record = this.#page.fromBytes(Uint8Array.from(this.#rest.splice(0, length)));
    if (record !== '' && record !== prefix) records.push(record);
  }
}

// 960 bytes are 1,280 characters, which fit the segment of every usual network.
const maxPartBytes = 960;

// The records that the server joins again when they come in parts.
const continued = /^\.\+(message|clot_messeng|customer_information)\|/;

function ascii(text: string): Uint8Array {
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
  return bytes;
}

// Line feeds, which the main port drops, bring each text to a multiple of three bytes: no padding
// arises, and texts that meet in one read of the server are not lost.
function encodePart(page: CodePage, part: string): Uint8Array {
  const missing = (3 - (page.toBytes(part).length % 3)) % 3;
  return ascii(base64Encode(page.toBytes(part + '\n'.repeat(missing))));
}

/** Characters that the page does not hold, as escapes, which readers turn back. */
export function escapeOutside(page: CodePage, record: string): string {
  if (page.holds(record)) return record;
  return [...record].map((c) => (page.holds(c) ? c : escapeText(c))).join('');
}

/**
 * The texts that carry records to the main port, each to be one read of the server. Neighbours
 * share a text where they fit one network packet; a message that does not fit goes in several
 * texts, which the server joins again, and the caller leaves time between texts.
 */
export function encodeForMainPort(page: CodePage, records: readonly string[]): Uint8Array[] {
  const texts: string[] = [];
  let open = '';
  const close = () => {
    if (open !== '') texts.push(open);
    open = '';
  };
  for (const each of records) {
    const record = escapeOutside(page, each);
    if (open !== '' && page.toBytes(open + record).length > maxPartBytes) close();
    open += record;
    if (continued.test(record)) open = cutOff(page, open, texts);
  }
  close();
  return texts.map((text) => encodePart(page, text));
}

// Moves full parts of a long record to the texts; returns what is left.
function cutOff(page: CodePage, record: string, texts: string[]): string {
  let part = '';
  let bytes = 0;
  for (const character of record) {
    const length = page.toBytes(character).length;
    if (bytes + length > maxPartBytes) {
      texts.push(part);
      part = '';
      bytes = 0;
    }
    part += character;
    bytes += length;
  }
  return part;
}

/** The one text that carries a record to the port of account applications. */
export function encodeForApplications(page: CodePage, record: string): Uint8Array {
  return ascii(base64Encode(page.toBytes(escapeOutside(page, record))));
}
