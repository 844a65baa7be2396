// The lines of a conversation, and how what comes live, what the history brings and what waits to be
// sent become one list without gaps and without doubles.

import type { HistoryEntry, MessageStatus } from '@vnq/client';
import { deliveryOf } from '@vnq/client';

export type LineStatus = MessageStatus['status'];

export interface Line {
  /** Msg_ID, or an id of its own for what has none. */
  readonly id: string;
  readonly from: string;
  readonly isOwn: boolean;
  readonly text: string;
  readonly isFile: boolean;
  /** "2026-03-04 14:35:09", the server's clock; the machine's for what the server has not yet. */
  readonly at: string;
  /** Of own lines. */
  readonly status?: LineStatus;
  /** A notice has more than a text. */
  readonly notice?: { readonly title: string; readonly content: string; readonly link: string };
  /** A form that a visitor has left. */
  readonly isForm?: boolean;
}

/** The machine's clock in the server's form. */
export function now(): string {
  const date = new Date();
  const two = (value: number) => String(value).padStart(2, '0');
  const day = `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
  return `${day} ${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
}

/** A line of the history. */
export function lineOf(entry: HistoryEntry): Line {
  const delivery = deliveryOf(entry);
  const common = { id: entry.Msg_ID, from: entry.from, isOwn: entry.own, at: entry.time };
  if (delivery.type === 'notice') {
    const { title, content, link } = delivery;
    return { ...common, text: title, isFile: false, notice: { title, content, link } };
  }
  const isFile = 'isFile' in delivery && delivery.isFile;
  // Tokens of other clients are told by their labels.
  const hasToken = 'text' in delivery && /\{[a-z]@/.test(delivery.text);
  const text = 'text' in delivery && !hasToken ? delivery.text : entry.text;
  const status = entry.delivered ? ('delivered' as const) : ('stored' as const);
  return { ...common, text, isFile, ...(entry.own ? { status } : {}) };
}

const ranks: Record<LineStatus, number> = { queued: 0, sent: 1, stored: 2, delivered: 3, withdrawn: 4 };

/** The status that goes further. */
export function furtherStatus(a: LineStatus | undefined, b: LineStatus): LineStatus {
  return a !== undefined && ranks[a] > ranks[b] ? a : b;
}

function isPending(line: Line): boolean {
  return line.status === 'queued' || line.status === 'sent';
}

/** Puts a line that has just come or is just being sent behind the others. */
export function withLine(lines: readonly Line[], line: Line): readonly Line[] {
  const known = lines.findIndex(({ id }) => id === line.id);
  if (known < 0) return [...lines, line];
  const old = lines[known];
  const status = line.status && { status: furtherStatus(old.status, line.status) };
  return lines.map((each, i) => (i === known ? { ...old, ...line, ...status } : each));
}

/**
 * Lines together with the latest page of the history, which knows the order of what it holds. What
 * it does not hold and stood behind, because it came or was typed since, stays behind.
 */
export function withLatest(lines: readonly Line[], page: readonly Line[]): readonly Line[] {
  if (page.length === 0) return lines;
  const inPage = new Set(page.map(({ id }) => id));
  const first = lines.findIndex(({ id }) => inPage.has(id));
  const known = new Map(lines.map((line) => [line.id, line]));
  const merged = page.map((line) => mergeStatus(known.get(line.id), line));
  const rest = lines.filter(({ id }) => !inPage.has(id));
  // Nothing in common: there may be a gap in front of the page, so the older lines go.
  const older = first < 0 ? [] : lines.slice(0, first).filter((line) => !isPending(line));
  const olderIds = new Set(older.map(({ id }) => id));
  const newest = page[page.length - 1].at;
  const behind = rest.filter((line) => !olderIds.has(line.id) && (isPending(line) || line.at >= newest));
  return [...older, ...merged, ...behind];
}

/** Lines with an older page in front. */
export function withOlder(lines: readonly Line[], page: readonly Line[]): readonly Line[] {
  const known = new Set(lines.map(({ id }) => id));
  return [...page.filter(({ id }) => !known.has(id)), ...lines];
}

function mergeStatus(old: Line | undefined, line: Line): Line {
  if (old?.status === undefined || line.status === undefined) return line;
  return { ...line, status: furtherStatus(old.status, line.status) };
}
