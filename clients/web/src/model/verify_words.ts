// What becomes of friendships and memberships, in words.

import type { Verify } from '@vnq/client';
import { t, Text } from '../texts';
import { nameOfGroup, nameOfPerson } from './directory';
import { ownId } from './server';

/**
 * What has happened; the names stand where the directory has none. Empty for what the user knows, or
 * what tells nobody anything.
 */
export function wordsOf({ about, step, target, userId, isOwnAnswer }: Verify, name = '', targetName = ''): string {
  if (isOwnAnswer) return '';
  const other = userId === ownId() ? nameOfPerson(target, targetName) : nameOfPerson(userId, name);
  if (about === 'friend') {
    const known: Partial<Record<typeof step, Text>> = {
      accepted: 'friend_accepted',
      refused: 'friend_refused',
      blocked: 'friend_refused',
      deleted: 'friend_deleted',
    };
    const text = known[step];
    return text ? t(text, other) : '';
  }
  const key = `group_${step}` as Text;
  return t(key, nameOfPerson(userId, name), nameOfGroup(target, targetName));
}
