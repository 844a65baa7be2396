// The connection to the gateway, while somebody is logged in.

import { signal } from '@preact/signals';
import { Client, ClientState, Gateway } from '@vnq/client';

export const client = signal<Client | undefined>(undefined);
export const connection = signal<ClientState>('closed');
/** When the next try begins, in the machine's milliseconds. */
export const retryAt = signal(0);

let token = '';
export const gateway = new Gateway('', () => token);

export function setToken(fresh: string): void {
  token = fresh;
}

export function ownId(): string {
  return client.value?.userId ?? '';
}
