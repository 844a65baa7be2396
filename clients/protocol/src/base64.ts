// The Base64 layer under every record: RFC 4648, section 4, on the way out, and the server's lenient
// reader of it.
//
// Reading goes up to the first "=" and no further. Between groups nothing is skipped: a line break
// counts as a character, and it shifts what follows.

const alphabet = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/';

// What is not in the alphabet reads like its last character.
const values = new Uint8Array(256).fill(63);
for (let i = 0; i < alphabet.length; ++i) values[alphabet.charCodeAt(i)] = i;

/** Base64 of some bytes, padded, on one line. No bytes give the empty text. */
export function base64Encode(bytes: Uint8Array): string {
  let text = '';
  for (let at = 0; at < bytes.length; at += 3) {
    const left = bytes.length - at;
    const group = (bytes[at] << 16) | ((bytes[at + 1] ?? 0) << 8) | (bytes[at + 2] ?? 0);
    text += alphabet[group >> 18] + alphabet[(group >> 12) & 63];
    text += left > 1 ? alphabet[(group >> 6) & 63] : '=';
    text += left > 2 ? alphabet[group & 63] : '=';
  }
  return text;
}

/**
 * The bytes in front of the first "=", or of all when there is none. A byte outside the alphabet
 * counts as "/". Of a last group of two or three characters the whole bytes are given; one of a
 * single character is dropped.
 */
export function base64Decode(wire: string): Uint8Array {
  const padding = wire.indexOf('=');
  const length = padding < 0 ? wire.length : padding;
  const rest = length % 4;
  const bytes = new Uint8Array(Math.floor(length / 4) * 3 + (rest > 1 ? rest - 1 : 0));
  const value = (at: number) => (at < length ? values[wire.charCodeAt(at) & 255] : 0);
  for (let at = 0, out = 0; out < bytes.length; at += 4) {
    const group = (value(at) << 18) | (value(at + 1) << 12) | (value(at + 2) << 6) | value(at + 3);
    bytes[out++] = group >> 16;
    if (out < bytes.length) bytes[out++] = group >> 8;
    if (out < bytes.length) bytes[out++] = group;
  }
  return bytes;
}
