import assert from 'node:assert/strict';
import { test } from 'node:test';

import { base64Decode, base64Encode, openCodePage } from '@vnq/protocol';
import { pseudoRandom, serverCodec } from '../../testing/codecs';

const bytes = (...values: number[]) => Uint8Array.from(values);

test('base64Encode: every length up to 100 is as the platform writes it', () => {
  const next = pseudoRandom(1);
  for (let length = 0; length <= 100; ++length) {
    const data = Uint8Array.from({ length }, () => next(256));
    assert.equal(base64Encode(data), Buffer.from(data).toString('base64'));
    assert.deepEqual(base64Decode(base64Encode(data)), data);
  }
});

test('base64Decode: what stands behind padding is lost', () => {
  assert.deepEqual(base64Decode('QUI=QUJD'), bytes(65, 66));
  assert.deepEqual(base64Decode(''), bytes());
  assert.deepEqual(base64Decode('QUJD'), bytes(65, 66, 67));
});

test('base64Decode: one character of a last group is dropped', () => {
  assert.deepEqual(base64Decode('QUJDQ'), bytes(65, 66, 67));
});

test('base64Decode: reads as the server does, whatever the text', async () => {
  const page = await openCodePage(1252);
  const next = pseudoRandom(7);
  const characters = 'ABCXYZabcxyz0189+/+/QUJD=\n -_.%~';
  for (let i = 0; i < 60; ++i) {
    const wire = Array.from({ length: next(40) }, () => characters[next(characters.length)]).join('');
    assert.equal(page.fromBytes(base64Decode(wire)), serverCodec('base64-decode', wire, 1252), wire);
  }
});
