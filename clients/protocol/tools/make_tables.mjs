// Writes src/tables/cpNNN.ts anew, from what the server's own codecs answer.
//
//   VNQ_PROGRAMS=build/release/bin node clients/protocol/tools/make_tables.mjs
//
// protocol/test/code_page.test.ts holds the tables to the server in both directions.
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const vnqctl = path.join(process.env.VNQ_PROGRAMS ?? 'build/release/bin', 'vnqctl');
const tables = path.join(path.dirname(fileURLToPath(import.meta.url)), '../src/tables');
const unassigned = '?';

function codec(command, page, input) {
  const args = ['text', command, '--code-page', String(page)];
  return execFileSync(vnqctl, args, { input, encoding: 'utf8', maxBuffer: 1 << 26 });
}

// The characters of codes, each of one or two bytes.
function decode(page, codes) {
  const bytes = codes.flatMap((code) => [...(code > 255 ? [code >> 8] : []), code & 255, 10]);
  const text = codec('base64-decode', page, Buffer.from(bytes).toString('base64'));
  return text.split('\n').slice(0, codes.length);
}

// The codes of characters; 0x3F for one outside the page.
function encode(page, characters) {
  const text = codec('base64-encode', page, characters.join('\n') + '\n');
  const codes = [];
  let code = 0;
  for (const byte of Buffer.from(text, 'base64')) {
    if (byte === 10) codes.push(code);
    code = byte === 10 ? 0 : (code << 8) | byte;
  }
  return codes;
}

function range(first, last) {
  return Array.from({ length: last - first + 1 }, (_, i) => first + i);
}

function rolled(units) {
  let text = '';
  for (let i = 0; i < units.length; ) {
    const step = units[i] === unassigned ? 0 : 1;
    const first = units[i].charCodeAt(0);
    let count = 1;
    while (units[i + count]?.charCodeAt(0) === first + step * count) ++count;
    text += units[i] + (count > 1 ? count : '');
    i += count;
  }
  return text;
}

function literal(text) {
  return JSON.stringify(text).replace(/[\u0080-\u00ff\u2028\u2029\ue000-\uf8ff\ufe00-\ufe0f]/g, (c) => {
    return '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0');
  });
}

function make(page, lead, trail) {
  // A lead byte would take the line break behind it.
  const isLead = (byte) => lead && byte >= lead[0] && byte <= lead[1];
  const singles = range(0x80, 0xff).filter((byte) => !isLead(byte));
  const pairs = lead
    ? range(...lead).flatMap((l) => trail.flatMap((t) => range(...t).map((low) => (l << 8) | low)))
    : [];
  const codes = [...singles, ...pairs];
  const units = [...decode(page, singles), ...decode(page, pairs)];
  const single = range(0x80, 0xff).map((byte) =>
    isLead(byte) ? unassigned : units[singles.indexOf(byte)],
  );

  const lowest = new Map();
  codes.forEach((code, i) => {
    if (units[i] !== unassigned && !lowest.has(units[i])) lowest.set(units[i], code);
  });
  const characters = [...lowest.keys()];
  const written = encode(page, characters);
  const preferred = written.filter((code, i) => code !== 0x3f && code !== lowest.get(characters[i]));
  const readOnly = characters.filter((_, i) => written[i] === 0x3f).map((c) => lowest.get(c));

  const lines = [`  single: ${literal(single.join(''))},`];
  if (lead) {
    lines.push(`  lead: ${JSON.stringify(lead)},`, `  trail: ${JSON.stringify(trail)},`);
    lines.push(`  pairs: ${literal(rolled(units.slice(singles.length)))},`);
    lines.push(`  preferred: ${JSON.stringify(preferred)},`, `  readOnly: ${JSON.stringify(readOnly)},`);
  }
  const text = `// Code page ${page}. Made by tools/make_tables.mjs from the server's own tables; not to be edited.
import type { PageTable } from './page_table';

export const table: PageTable = {
${lines.join('\n')}
};
`;
  writeFileSync(path.join(tables, `cp${page}.ts`), text);
  console.log(`cp${page}: ${characters.length} characters, ${text.length} characters of source`);
}

make(936, [0x81, 0xfe], [[0x40, 0xfe]]);
make(950, [0x81, 0xfe], [[0x40, 0x7e], [0xa1, 0xfe]]);
make(1252);
