import assert from 'node:assert/strict';
import { test } from 'node:test';

import {
  base64Decode,
  base64Encode,
  CodePage,
  encodeForApplications,
  encodeForMainPort,
  joinRecord,
  openCodePage,
  outgoing,
  RecordError,
  RecordFields,
  RecordStream,
} from '@vnq/protocol';

const page = (): Promise<CodePage> => openCodePage(936);

// As the server sends: each text by itself.
function wire(codePage: CodePage, ...texts: string[]): Uint8Array {
  return Buffer.from(texts.map((text) => base64Encode(codePage.toBytes(text))).join(''));
}

function read(texts: Uint8Array[], codePage: CodePage): string {
  const ascii = Buffer.concat(texts).toString();
  return codePage.fromBytes(base64Decode(ascii)).replace(/[\r\n]/g, '');
}

test('RecordStream: cuts at every place and of every size give the same records', async () => {
  const codePage = await page();
  const sent = ['.+a|中文|#.+b|1|#', '.+y|#', '.+landing_restrictions', '.+c|+.|x|#'];
  const expected = ['.+a|中文|#', '.+b|1|#', '.+y|#', '.+landing_restrictions', '.+c|+.|x|#'];
  const bytes = wire(codePage, ...sent);
  for (let size = 1; size <= bytes.length; ++size) {
    const stream = new RecordStream(codePage);
    const records: string[] = [];
    for (let at = 0; at < bytes.length; at += size) {
      records.push(...stream.feed(bytes.subarray(at, at + size)));
    }
    records.push(...stream.takeRest());
    assert.deepEqual(records, expected, `in reads of ${size}`);
  }
});

test('RecordStream: a record without padding waits for silence', async () => {
  const stream = new RecordStream(await page());
  assert.deepEqual(stream.feed(Buffer.from(Buffer.from('.+yy|#').toString('base64'))), []);
  assert.ok(stream.hasRest && stream.restLooksComplete);
  assert.deepEqual(stream.takeRest(), ['.+yy|#']);
  assert.equal(stream.hasRest, false);
});

test('RecordStream: line breaks between texts and a short padding do no harm', async () => {
  const stream = new RecordStream(await page());
  assert.deepEqual(stream.feed(Buffer.from('Lit5\r\nfCM=')), ['.+y|#']);
  assert.deepEqual(stream.feed(Buffer.from('LisuKw=')), []);
  assert.deepEqual(stream.feed(Buffer.from('Lit5fCM=')), ['.+y|#']);
});

test('RecordStream: what is no record comes out as it is', async () => {
  const stream = new RecordStream(await page());
  assert.deepEqual(stream.feed(Buffer.from('aGk=')), ['hi']);
});

test('encodeForMainPort: neighbours share a text, without padding', async () => {
  const codePage = await page();
  const texts = encodeForMainPort(codePage, ['.+y|#', '.+on_line|1|#']);
  assert.equal(texts.length, 1);
  assert.equal(read(texts, codePage), '.+y|#.+on_line|1|#');
  assert.ok(!Buffer.from(texts[0]).toString().includes('='));
});

test('encodeForMainPort: a long message goes in parts that fit a packet', async () => {
  const codePage = await page();
  const record = outgoing.message({ target: '2', sender: '1', text: '长'.repeat(1_000), id: 'M' });
  const texts = encodeForMainPort(codePage, ['.+y|#', record, '.+y|#']);
  assert.ok(texts.length >= 6 && texts.every((text) => text.length <= 1_280));
  assert.equal(read(texts, codePage), `.+y|#${record}.+y|#`);
  // Whatever stands in it, no part begins a record of its own.
  for (const text of texts.slice(2, -1)) {
    assert.ok(!codePage.fromBytes(base64Decode(Buffer.from(text).toString())).includes('.+'));
  }
});

test('encodeForMainPort: a long record that the server does not join stays one text', async () => {
  const codePage = await page();
  const record = outgoing.notification({ sender: '1', receivers: ['2'], title: 'T', content: 'x'.repeat(3_000) });
  assert.equal(encodeForMainPort(codePage, [record]).length, 1);
});

test('encodeForMainPort: a character outside the page travels as an escape', async () => {
  const codePage = await openCodePage(1252);
  const texts = encodeForMainPort(codePage, ['.+new_group_information|1|项目|#']);
  assert.equal(read(texts, codePage), '.+new_group_information|1|%u9879%u76EE|#');
});

test('encodeForApplications: one text, padded, with no line break', async () => {
  const text = Buffer.from(encodeForApplications(await page(), '.+exit_application|#')).toString();
  assert.equal(Buffer.from(text, 'base64').toString(), '.+exit_application|#');
});

test('joinRecord: refuses what would break the record', () => {
  for (const field of ['a|b', 'a\nb', 'a\rb', 'x.+y']) {
    assert.throws(() => joinRecord('.+x', field), RecordError);
  }
  assert.equal(joinRecord('.+x', 'a', 1), '.+x|a|1|#');
});

test('RecordFields: a missing field is empty', () => {
  const fields = new RecordFields('.+x|a|#');
  assert.deepEqual([fields.word, fields.at(1), fields.at(2), fields.at(9), fields.size], ['.+x', 'a', '#', '', 3]);
});
