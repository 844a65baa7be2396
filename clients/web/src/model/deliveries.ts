// Which of the user's messages have arrived. The other side's client tells it once, and the history
// only after somebody has read them, so this browser remembers what it was told.

import type { HistoryEntry } from '@vnq/client';
import { furtherStatus, Line, lineOf } from './lines';
import { remember, remembered } from './storage';

const mostKept = 500;

let delivered = new Set(remembered<string[]>('delivered', []));

export function noteDelivered(id: string): void {
  if (delivered.has(id)) return;
  delivered = new Set([...delivered, id].slice(-mostKept));
  remember('delivered', [...delivered]);
}

/** A line of the history, with what is known of its way. */
export function knownLine(entry: HistoryEntry): Line {
  const line = lineOf(entry);
  const hasArrived = line.status !== undefined && delivered.has(line.id);
  return hasArrived ? { ...line, status: furtherStatus(line.status, 'delivered') } : line;
}
