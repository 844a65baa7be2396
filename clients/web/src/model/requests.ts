// Requests of friends and of people who want into a group, until they are answered, and what has
// become of the user's own.

import { signal } from '@preact/signals';
import type { Answer, Verify } from '@vnq/client';
import { client, ownId } from './server';
import { remember, remembered } from './storage';

export interface Request {
  readonly about: 'friend' | 'group';
  readonly userId: string;
  /** Of a group. */
  readonly groupId: string;
  readonly text: string;
}

export const requests = signal<readonly Request[]>([]);

const place = () => `requests.${ownId()}`;
const isSame = (a: Request, b: Request) =>
  a.about === b.about && a.userId === b.userId && a.groupId === b.groupId;

function set(next: readonly Request[]): void {
  requests.value = next;
  remember(place(), next);
}

export function loadRequests(): void {
  requests.value = remembered<Request[]>(place(), []);
}

export function addRequest({ about, userId, target, text }: Verify): void {
  const request = { about, userId, groupId: about === 'group' ? target : '', text };
  set([...requests.value.filter((each) => !isSame(each, request)), request]);
}

/** Somebody else has answered it, or it is of no interest any more. */
export function dropRequest(request: Request): void {
  set(requests.value.filter((each) => !isSame(each, request)));
}

export function answerRequest(request: Request, answer: Answer): void {
  const { about, userId, groupId } = request;
  if (about === 'group') client.value?.groups.answer(groupId, userId, answer);
  else client.value?.friends.answer(userId, answer);
  dropRequest(request);
}
