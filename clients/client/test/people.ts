// Clients of sample accounts, short waits, and a record of what each has seen.
import { Client, ClientOptions, Delivery, deliveryOf, HistoryEntry, tcp } from '@vnq/client/node';
import { Account, TestServer } from '../../testing/server';

export function clientOf(server: TestServer, { user, password }: Account, more: Partial<ClientOptions> = {}): Client {
  const timing = { reconnectFirst: 50, reconnectLongest: 400, receipt: 4_000, ...more.timing };
  return new Client({ connect: tcp({ host: server.address }), user, password, ...more, timing });
}

/** Logs in; the client is closed when the test ends. */
export async function join(
  t: { after(f: () => void): void },
  server: TestServer,
  account: Account,
  more: Partial<ClientOptions> = {},
): Promise<Client> {
  const client = clientOf(server, account, more);
  t.after(() => client.close());
  await client.login();
  return client;
}

/** All texts of people and groups that a client hands out. */
export function textsOf(client: Client): string[] {
  const texts: string[] = [];
  client.on('message', ({ text }) => texts.push(text));
  client.on('groupMessage', ({ text }) => texts.push(text));
  return texts;
}

/** What a user's desktop has not had, from the database. */
export function missedBy(server: TestServer, { user }: Account): () => Promise<Delivery[]> {
  return async () => server.history(user, '--unread').map((entry) => deliveryOf(entry as unknown as HistoryEntry));
}
