// Legacy code pages, from tables that were read out of the server.
//
// The bytes on the wire are those of the server's code page, and nothing on the wire says which one:
// a client is told it beside the address.

import type { PageTable } from './tables/page_table';

const unassigned = 0x3f;

/** One code page. Conversions never fail: what has no counterpart becomes "?". */
export class CodePage {
  readonly #toUnicode = new Map<number, number>();
  readonly #fromUnicode = new Map<number, number>();
  readonly #firstLead: number;
  readonly #lastLead: number;

  /** @param number the page's Windows number */
  constructor(readonly number: number, table: PageTable) {
    [this.#firstLead, this.#lastLead] = table.lead ?? [256, 0];
    for (let i = 0; i < 128; ++i) this.#assign(0x80 + i, table.single.charCodeAt(i));
    this.#assignPairs(table);
    for (const [code, unit] of this.#toUnicode) {
      const lower = this.#fromUnicode.get(unit);
      if (lower === undefined || code < lower) this.#fromUnicode.set(unit, code);
    }
    for (const code of table.preferred ?? []) {
      this.#fromUnicode.set(this.#toUnicode.get(code)!, code);
    }
    for (const code of table.readOnly ?? []) this.#fromUnicode.delete(this.#toUnicode.get(code)!);
  }

  /** The bytes of a text; one "?" for each character outside the page. */
  toBytes(text: string): Uint8Array {
    const bytes = new Uint8Array(text.length * 2);
    let length = 0;
    for (const character of text) {
      const value = character.codePointAt(0)!;
      const code = value < 0x80 ? value : this.#fromUnicode.get(value) ?? unassigned;
      if (code > 0xff) bytes[length++] = code >> 8;
      bytes[length++] = code;
    }
    return bytes.slice(0, length);
  }

  /** The text of some bytes; "?" for an unassigned byte or pair, and for a lead byte at the end. */
  fromBytes(bytes: Uint8Array): string {
    const units: number[] = [];
    let text = '';
    for (let at = 0; at < bytes.length; ++at) {
      const byte = bytes[at];
      if (byte < 0x80) units.push(byte);
      else if (!this.#isLead(byte)) units.push(this.#toUnicode.get(byte) ?? unassigned);
      else if (++at === bytes.length) units.push(unassigned);
      else units.push(this.#toUnicode.get((byte << 8) | bytes[at]) ?? unassigned);
      if (units.length === 4096) text += String.fromCharCode(...units.splice(0));
    }
    return text + String.fromCharCode(...units);
  }

  /** The character of one byte by itself; nothing for a lead byte and for an unassigned byte. */
  fromSingleByte(byte: number): string {
    const unit = byte < 0x80 ? byte : this.#toUnicode.get(byte);
    return unit === undefined ? '' : String.fromCharCode(unit);
  }

  /** True when the page holds every character of the text. */
  holds(text: string): boolean {
    for (const character of text) {
      const value = character.codePointAt(0)!;
      if (value >= 0x80 && !this.#fromUnicode.has(value)) return false;
    }
    return true;
  }

  #isLead(byte: number): boolean {
    return byte >= this.#firstLead && byte <= this.#lastLead;
  }

  #assign(code: number, unit: number): void {
    if (unit !== unassigned) this.#toUnicode.set(code, unit);
  }

  #assignPairs(table: PageTable): void {
    const units = unroll(table.pairs ?? '');
    let next = 0;
    for (let lead = this.#firstLead; lead <= this.#lastLead; ++lead) {
      for (const [first, last] of table.trail ?? []) {
        for (let trail = first; trail <= last; ++trail) {
          this.#assign((lead << 8) | trail, units[next++]);
        }
      }
    }
  }
}

// "丂2A" becomes 丂, its successor, A.
function unroll(runs: string): Uint16Array {
  const units: number[] = [];
  for (const [, first, count] of runs.matchAll(/([^0-9])([0-9]*)/gsu)) {
    const unit = first.charCodeAt(0);
    const step = unit === unassigned ? 0 : 1;
    for (let i = 0; i < (count === '' ? 1 : Number(count)); ++i) units.push(unit + step * i);
  }
  return Uint16Array.from(units);
}

/** The code pages that come along. */
export const codePageNumbers = [936, 950, 1252] as const;
export type CodePageNumber = typeof codePageNumbers[number];

const opened = new Map<number, Promise<CodePage>>();

async function load(number: number): Promise<CodePage> {
  switch (number) {
    case 936:
      return new CodePage(936, (await import('./tables/cp936')).table);
    case 950:
      return new CodePage(950, (await import('./tables/cp950')).table);
    case 1252:
      return new CodePage(1252, (await import('./tables/cp1252')).table);
    default:
      throw new RangeError(`code page ${number} is not known; there are ${codePageNumbers.join(', ')}`);
  }
}

/**
 * A code page by its Windows number: 936 simplified Chinese, 950 traditional Chinese, 1252 Western.
 * The tables are loaded when they are first asked for, in a browser as a file of their own.
 */
export function openCodePage(number: number): Promise<CodePage> {
  let page = opened.get(number);
  if (!page) {
    page = load(number);
    opened.set(number, page);
    page.catch(() => opened.delete(number));
  }
  return page;
}
