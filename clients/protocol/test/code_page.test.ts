import assert from 'node:assert/strict';
import { test } from 'node:test';

import { codePageNumbers, openCodePage } from '@vnq/protocol';
import { serverCodec } from '../../testing/codecs';

const range = (first: number, last: number) =>
  Array.from({ length: last - first + 1 }, (_, i) => first + i);

for (const number of codePageNumbers) {
  test(`code page ${number}: every byte and every pair of bytes reads as at the server`, async () => {
    const page = await openCodePage(number);
    // Runs of pairs with a line break that no lead byte can take: it stands behind a whole pair or
    // behind two letters.
    const lines = range(0x80, 0xff).map((first) =>
      Uint8Array.from([...range(0, 0xff).filter((b) => b !== 10).flatMap((b) => [first, b, 65, 65]), 10]),
    );
    const all = Buffer.concat(lines);
    const read = serverCodec('base64-decode', Buffer.from(all).toString('base64'), number);
    assert.equal(page.fromBytes(all), read);
  });

  test(`code page ${number}: every character of the basic plane is written as at the server`, async () => {
    const page = await openCodePage(number);
    const units = [...range(0, 0xd7ff), ...range(0xe000, 0xffff)];
    const text = units.map((unit) => String.fromCharCode(unit)).join('') + '😀𠀀';
    const written = Buffer.from(serverCodec('base64-encode', text, number), 'base64');
    assert.deepEqual(Buffer.from(page.toBytes(text)), written);
  });
}

test('code page 936: a lead byte at the end is a question mark', async () => {
  const page = await openCodePage(936);
  assert.equal(page.fromBytes(Uint8Array.from([65, 0xb0])), 'A?');
});

test('code page 936: a long text of many characters survives', async () => {
  const page = await openCodePage(936);
  const text = '消息mixed 文字。'.repeat(5_000);
  assert.equal(page.fromBytes(page.toBytes(text)), text);
});

test('code page: holds tells what would be lost', async () => {
  const western = await openCodePage(1252);
  assert.equal(western.holds('Zürich €5'), true);
  assert.equal(western.holds('中'), false);
  assert.equal((await openCodePage(950)).holds('龍'), true);
  assert.equal((await openCodePage(936)).holds('😀'), false);
});

test('code page: one byte by itself is read, a lead byte is not', async () => {
  const page = await openCodePage(936);
  assert.equal(page.fromSingleByte(0x41), 'A');
  assert.equal(page.fromSingleByte(0x80), '€');
  assert.equal(page.fromSingleByte(0xb0), '');
});

test('openCodePage: an unknown number is refused with those that are known', async () => {
  await assert.rejects(openCodePage(437), /code page 437 is not known; there are 936, 950, 1252/);
});
