// The records of the visitor gateway, and the pieces in which they travel.
//
//   .+customer|agents|visitor|city|text|#
//   .+customer_information|agent|visitor|city|text|#

// A frame carries at most 125 bytes; Base64 makes four of each three.
export const MAX_PIECE_BYTES = Math.floor(125 / 4) * 3;

const KEPT = /[A-Za-z0-9\-_.!~*'()]/;

/** Escapes a text so that nothing in it can end a field, a record or a piece. */
export function escapeText(text) {
  let escaped = '';
  for (let i = 0; i < text.length; i++) {
    const code = text.charCodeAt(i);
    if (KEPT.test(text[i])) escaped += text[i];
    else if (code < 0xff) escaped += '%' + code.toString(16).toUpperCase().padStart(2, '0');
    else escaped += '%u' + code.toString(16).toUpperCase().padStart(4, '0');
  }
  return escaped;
}

/** A name without what would end its field. Names travel as they are, not escaped. */
export function fieldText(text) {
  return String(text).replace(/[|#,\r\n]/g, ' ').replaceAll('.+', '. +').trim();
}

/** Announces a visitor to agents. */
export function customerRecord({ agents, visitor, city, text }) {
  const names = agents.map(fieldText).join(',');
  return `.+customer|${names}|${fieldText(visitor)}|${fieldText(city)}|${escapeText(text)}|#`;
}

/** One line for one agent. */
export function lineRecord({ agent, visitor, city, text }) {
  const head = [agent, visitor, city].map(fieldText).join('|');
  return `.+customer_information|${head}|${escapeText(text)}|#`;
}

/**
 * Cuts a record into payloads of one frame each, in order. The server joins the pieces of a line
 * again: it waits for the one that ends in "#".
 *
 * Only a line may have several pieces; a longer announcement would be cut short.
 *
 * @returns {string[]} Base64 texts of at most 124 characters
 */
export function piecesOf(record, codePage) {
  const pieces = [];
  let bytes = [];
  for (const character of record) {
    const next = codePage.encode(character);
    if (bytes.length + next.length > MAX_PIECE_BYTES) {
      pieces.push(bytes);
      bytes = [];
    }
    bytes.push(...next);
  }
  if (bytes.length > 0) pieces.push(bytes);
  return pieces.map((piece) => btoa(String.fromCharCode(...piece)));
}
