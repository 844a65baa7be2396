// Clients of sample accounts, short waits, and a record of what each has seen.
import { CatchUp, Client, ClientOptions, deliveryOf, HistoryEntry, tcp } from '@vnq/client/node';
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

/** What a user's desktop has not had, from the database, which is not told what was handed out. */
export function missedBy(server: TestServer, { user }: Account): CatchUp {
  return {
    async *missed() {
      yield server.history(user, '--unread').map((entry) => deliveryOf(entry as unknown as HistoryEntry));
    },
  };
}
