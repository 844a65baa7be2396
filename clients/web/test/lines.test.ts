// How live lines, pages of the history and lines on their way become one list.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import type { HistoryEntry } from '@vnq/client';
import { furtherStatus, Line, lineOf, withLatest, withLine, withOlder } from '../src/model/lines';

const line = (id: string, at: string, more: Partial<Line> = {}): Line => ({
  id,
  at: `2026-03-04 10:00:${at}`,
  from: '2',
  isOwn: false,
  text: id,
  isFile: false,
  ...more,
});
const ids = (lines: readonly Line[]) => lines.map(({ id }) => id).join(' ');
const own = (id: string, at: string, status: Line['status']) => line(id, at, { isOwn: true, ...(status ? { status } : {}) });

test('withLine: the same line again takes no second place, and its status only goes further', () => {
  const lines = withLine([own('A', '01', 'delivered')], own('A', '02', 'stored'));
  assert.equal(ids(lines), 'A');
  assert.equal(lines[0].status, 'delivered');
  assert.equal(furtherStatus('queued', 'sent'), 'sent');
  assert.equal(furtherStatus('delivered', 'stored'), 'delivered');
});

test('withLatest: what came live and what the page brings stand there once, in the order of the history', () => {
  const live = [line('A', '01'), line('C', '03'), line('D', '04')];
  const page = [line('A', '01'), line('B', '02'), line('C', '03')];
  assert.equal(ids(withLatest(live, page)), 'A B C D');
});

test('withLatest: lines on their way stay behind, and stay when the page does not know them', () => {
  const lines = [line('A', '01'), own('P', '02', 'queued'), own('Q', '03', 'sent')];
  const page = [line('A', '01'), line('B', '09')];
  assert.equal(ids(withLatest(lines, page)), 'A B P Q');
  assert.equal(ids(withLatest([own('P', '02', 'queued')], page)), 'A B P');
});

test('withLatest: a line that the server has by now takes its place in the history', () => {
  const lines = [own('P', '01', 'sent'), line('A', '02')];
  const page = [line('A', '02'), own('P', '03', 'stored')];
  const merged = withLatest(lines, page);
  assert.equal(ids(merged), 'A P');
  assert.equal(merged[1].status, 'stored');
});

test('withLatest: older lines are kept where they join the page, and go where there may be a gap', () => {
  const old = [line('A', '01'), line('B', '02')];
  assert.equal(ids(withLatest(old, [line('B', '02'), line('C', '03')])), 'A B C');
  assert.equal(ids(withLatest(old, [line('X', '08'), line('Y', '09')])), 'X Y');
  assert.equal(ids(withLatest(old, [])), 'A B');
});

test('withOlder: a page in front brings no line a second time', () => {
  assert.equal(ids(withOlder([line('C', '03')], [line('A', '01'), line('C', '03')])), 'A C');
});

test('lineOf: escapes are read, tokens of other clients are told by their label, notices keep their parts', () => {
  const entry: HistoryEntry = {
    kind: 'message', Msg_ID: 'M', time: '2026-03-04 10:00:00', from: '2', to: '1', own: false, unread: true,
    text: '[Picture]', UserText: '%7Bb@1%7D', To_Type: 10,
  };
  assert.equal(lineOf(entry).text, '[Picture]');
  assert.equal(lineOf({ ...entry, UserText: '%3Cb%3E%20%u4F60', text: '<b> 你' }).text, '<b> 你');
  const file = lineOf({ ...entry, UserText: 'a%20b.txt', text: '[File] a b.txt', To_Type: 60 });
  assert.deepEqual([file.isFile, file.text], [true, 'a b.txt']);
  const notice = lineOf({ ...entry, kind: 'notice', text: 'T', content: 'C', link: 'L' });
  assert.deepEqual(notice.notice, { title: 'T', content: 'C', link: 'L' });
});
