// The percent escapes of chat text, and the texts of fields.

const kept = /[0-9a-zA-Z\-_.!~*'()]/;

function hex(value: number, digits: number): string {
  return value.toString(16).toUpperCase().padStart(digits, '0');
}

/**
 * A chat text as it stands in a record: "%XX" below U+00FF, "%uXXXX" from there on, by 16-bit units.
 * No "|", no line break and no ".+" is left in it.
 */
export function escapeText(text: string): string {
  let escaped = '';
  for (let i = 0; i < text.length; ++i) {
    const unit = text.charCodeAt(i);
    if (kept.test(text[i])) escaped += text[i];
    else escaped += unit < 255 ? `%${hex(unit, 2)}` : `%u${hex(unit, 4)}`;
  }
  return escaped;
}

/**
 * The exact inverse of escapeText, in one pass: what was typed at one end is what is read at the
 * other, a typed "%41" included. A broken escape stays as it stands. This is what a client shows.
 */
export function readEscapedText(escaped: string): string {
  return escaped.replace(/%u([0-9a-fA-F]{4})|%([0-9a-fA-F]{2})/g, (_, long, short) =>
    String.fromCharCode(parseInt(long ?? short, 16)),
  );
}

/** What the server's reader needs of a code page. */
export interface SingleBytes {
  fromSingleByte(byte: number): string;
}

/**
 * The server's own reader, which it uses for the keyword filter and for pushes. It walks the text
 * and replaces each escape that it meets everywhere at once; so what decodes to "%" may be decoded
 * again, and what stands right behind a replaced place may be passed over.
 */
export function unescapeText(page: SingleBytes, text: string): string {
  const short = (digits: string) => {
    const number = parseInt(digits, 16);
    return page.fromSingleByte(number) || String.fromCharCode(number);
  };
  for (let i = 0; i < text.length; ++i) {
    const long = /^%u([0-9a-fA-F]{4})/.exec(text.substr(i, 6));
    if (long) text = text.split(long[0]).join(String.fromCharCode(parseInt(long[1], 16)));
    const two = /^%([0-9a-fA-F]{2})/.exec(text.substr(i, 3));
    if (two) text = text.split(two[0]).join(short(two[1]));
  }
  return text;
}

/** A message's text in words. */
export interface MessageText {
  readonly text: string;
  /** The text announces a file: it is the file's name, or what the sender's client made of it. */
  readonly isFile: boolean;
}

/** Reads a message's text: escapes, and the form of a file, whose inner text is escaped once more. */
export function readMessageText(escaped: string): MessageText {
  const text = readEscapedText(escaped);
  const file = /^\{[ha]@(.*)\}$/s.exec(text);
  return file ? { text: readEscapedText(file[1]), isFile: true } : { text, isFile: false };
}

/** True for a text that can stand in a field as it is: no "|", line break or ".+" in it. */
export function fitsAField(text: string): boolean {
  return !/[|\r\n]|\.\+/.test(text);
}

/**
 * The text for a field that may hold plain or escaped text: as it stands where it reads back
 * unchanged and a field can carry it, else escaped.
 */
export function fieldText(text: string): string {
  const beyond = /[\u{10000}-\u{10FFFF}]/u.test(text);
  return fitsAField(text) && readEscapedText(text) === text && !beyond ? text : escapeText(text);
}
