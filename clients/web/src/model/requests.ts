// Requests of friends and of people who want into a group, until they are answered, and what has
// become of the user's own while nobody was here.
//
// Those that came while this device was away wait at the gateway, those that came live are known to
// this browser alone and kept in it.

import { signal } from '@preact/signals';
import type { Answer, ParkedRequest, Verify } from '@vnq/client';
import { verifyOf } from '@vnq/client';
import { client, gateway, ownId } from './server';
import { remember, remembered } from './storage';
import { wordsOf } from './verify_words';

export interface Request {
  readonly about: 'friend' | 'group';
  readonly userId: string;
  readonly name?: string;
  /** Of a group. */
  readonly groupId: string;
  readonly text: string;
}

/** Something that was decided while nobody was here. */
export interface News {
  readonly verify: Verify;
  readonly name: string;
  readonly targetName: string;
  /** "2026-03-04 14:35:09" */
  readonly at: string;
}

export const requests = signal<readonly Request[]>([]);
export const news = signal<readonly News[]>([]);

let parked: readonly ParkedRequest[] = [];

const place = () => `requests.${ownId()}`;
const keyOf = ({ about, userId, groupId }: Request) => `${about} ${userId} ${groupId}`;
const isSame = (a: Request, b: Request) => keyOf(a) === keyOf(b);

export function requestOf({ about, userId, target, text }: Verify): Request {
  return { about, userId, groupId: about === 'group' ? target : '', text };
}

function set(next: readonly Request[]): void {
  requests.value = next;
  remember(place(), next);
}

/** Takes them up again after a log-in: what this browser has kept, and what has waited since. */
export async function loadRequests(): Promise<void> {
  requests.value = remembered<Request[]>(place(), []);
  parked = await gateway.requests();
  const told: News[] = [];
  for (const each of parked) {
    const verify = verifyOf(each);
    if (verify.step === 'request' && verify.userId !== ownId()) {
      addRequest(verify, each.name);
      continue;
    }
    dropRequest(requestOf(verify));
    told.push({ verify, name: each.name, targetName: each.target_name, at: each.time });
  }
  news.value = told.filter(({ verify, name, targetName }) => wordsOf(verify, name, targetName) !== '');
  if (news.value.length === 0) dismissNews();
}

export function addRequest(verify: Verify, name = ''): void {
  const request = { ...requestOf(verify), ...(name === '' ? {} : { name }) };
  set([...requests.value.filter((each) => !isSame(each, request)), request]);
}

/** It is answered, by the user or somebody else, or of no interest any more. */
export function dropRequest(request: Request): void {
  set(requests.value.filter((each) => !isSame(each, request)));
  forget((verify) => verify.step === 'request' && isSame(requestOf(verify), request));
}

export function dismissNews(): void {
  news.value = [];
  forget(({ step, userId }) => step !== 'request' || userId === ownId());
}

// What the gateway did not hear of waits on, and comes again after the next log-in.
function forget(isMeant: (verify: Verify) => boolean): void {
  const meant = parked.filter((each) => isMeant(verifyOf(each)));
  if (meant.length === 0) return;
  parked = parked.filter((each) => !meant.includes(each));
  gateway.forgetRequests(meant).catch(() => undefined);
}

export function answerRequest(request: Request, answer: Answer): void {
  const { about, userId, groupId } = request;
  if (about === 'group') client.value?.groups.answer(groupId, userId, answer);
  else client.value?.friends.answer(userId, answer);
  dropRequest(request);
}
