// Text to bytes of a legacy code page. Browsers can only read these; so the table is made once by
// reading every one- and two-byte sequence, and turned round.

const UNKNOWN = 0x3f; // "?"

// The Windows code pages that a deployment may run under, by the browser's names for them.
const LABELS = { 936: 'gbk', 950: 'big5', 932: 'shift_jis', 949: 'euc-kr', 1252: 'windows-1252' };

export class CodePage {
  #bytesOf = new Map();

  /** @param {number} number  the code page that the server is set to, e.g. 936 */
  constructor(number) {
    const label = LABELS[number];
    if (!label) throw new Error(`no code page ${number}`);
    const decoder = new TextDecoder(label);
    for (let first = 0x80; first <= 0xff; first++) {
      this.#learn(decoder, [first]);
      if (number === 1252) continue;
      for (let second = 0x40; second <= 0xfe; second++) this.#learn(decoder, [first, second]);
    }
  }

  #learn(decoder, bytes) {
    const text = decoder.decode(Uint8Array.from(bytes));
    if ([...text].length !== 1 || text === '\ufffd') return;
    if (!this.#bytesOf.has(text)) this.#bytesOf.set(text, bytes);
  }

  /** The bytes of a text; a character outside the page becomes "?". @returns {number[]} */
  encode(text) {
    const bytes = [];
    for (const character of text) {
      const code = character.codePointAt(0);
      bytes.push(...(code < 0x80 ? [code] : (this.#bytesOf.get(character) ?? [UNKNOWN])));
    }
    return bytes;
  }
}
