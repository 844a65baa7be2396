import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  escapeText,
  fieldText,
  fitsAField,
  openCodePage,
  readEscapedText,
  readMessageText,
  unescapeText,
} from '@vnq/protocol';
import { pseudoRandom, serverCodec } from '../../testing/codecs';

const everyKind = "aZ09-_.!~*'() |#%+/\t\n\u007fé\u00fe\u00ff\u0100中文㐀😀\ue000\ufeff";

test('escapeText: is the text that the server writes', () => {
  const latin = Array.from({ length: 0x180 }, (_, i) => String.fromCharCode(i)).slice(1).join('');
  for (const text of [everyKind, latin, '']) {
    assert.equal(escapeText(text), serverCodec('escape', text));
  }
});

test('escapeText: leaves nothing that a field cannot hold', () => {
  assert.ok(fitsAField(escapeText('a|b.+y|#\r\n')));
});

test('readEscapedText: is the inverse, escapes that were typed included', () => {
  for (const text of [everyKind, 'typed %41 %u4E2D and %25', '%', '%u', '😀%']) {
    assert.equal(readEscapedText(escapeText(text)), text);
  }
});

test('readEscapedText: a broken escape stays as it stands', () => {
  assert.equal(readEscapedText('100% of %zz %u12 %u00G0'), '100% of %zz %u12 %u00G0');
});

test('unescapeText: walks the text as the server does', async () => {
  const page = await openCodePage(936);
  const next = pseudoRandom(11);
  const pieces = ['%25', '%u4E2D', '%41', '4', '1', '%', 'u', '%u0025', '%75', 'E2D', 'x', '%80', '%B0', '%7C'];
  const texts = ['%25u4E2D', '%25%u4E2D', '%2541', '%u002541', '%E9%FF'];
  for (let i = 0; i < 80; ++i) {
    texts.push(Array.from({ length: 1 + next(8) }, () => pieces[next(pieces.length)]).join(''));
  }
  for (const text of texts) {
    assert.equal(unescapeText(page, text), serverCodec('unescape', text), text);
  }
});

test('readMessageText: a file is told as one, and its name is read', () => {
  const name = '合同 1.pdf';
  for (const token of ['{h@', '{a@']) {
    const wrapped = escapeText(`${token}${escapeText(name)}}`);
    assert.deepEqual(readMessageText(wrapped), { text: name, isFile: true });
  }
  assert.deepEqual(readMessageText('%7Bx@1%7D'), { text: '{x@1}', isFile: false });
});

test('fieldText: stays plain where it can', () => {
  assert.equal(fieldText('Projekt München'), 'Projekt München');
  assert.equal(fieldText('50%'), '50%');
  for (const text of ['a|b', 'two\nlines', 'x.+y', '%41', 'party 🎉']) {
    assert.notEqual(fieldText(text), text);
    assert.equal(readEscapedText(fieldText(text)), text);
  }
});
