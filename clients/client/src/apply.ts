// Applications for an account, and the departments to choose from: a port of its own, no log-in.

import {
  AccountApplication,
  encodeForApplications,
  Incoming,
  openCodePage,
  outgoing,
  parseRecord,
  RecordStream,
} from '@vnq/protocol';
import { abortError } from './emitter';
import { ConnectionError } from './errors';
import type { Connector } from './transport';

export interface ApplyOptions {
  /** tcp({ port: 6007 }) of "@vnq/client/node". */
  readonly connect: Connector;
  readonly codePage?: number;
  readonly signal?: AbortSignal;
  readonly timeout?: number;
}

/** The server takes no application, or not this one. */
export class ApplicationError extends Error {
  override name = 'ApplicationError';
  constructor(readonly reason: 'occupied' | 'notAllowed', message: string) {
    super(message);
  }
}

export interface Department {
  readonly id: string;
  readonly parent: string;
  /** The columns of the row as the server sends them, by position. */
  readonly columns: readonly string[];
}

/**
 * Asks for an account; resolves with its UserID. Whether it counts at once or waits for an
 * administrator is the server's setting, and not told.
 */
export async function applyForAccount(
  options: ApplyOptions,
  application: AccountApplication,
): Promise<{ userId: string }> {
  const answers = ['accountMade', 'accountOccupied', 'accountsRefused'];
  const record = outgoing.accountApplication(application);
  const answer = (await ask(options, record, ({ type }) => answers.includes(type))).pop()!;
  if (answer.type === 'accountMade') return { userId: answer.userId };
  if (answer.type === 'accountOccupied') {
    throw new ApplicationError('occupied', `the login name ${application.user} is taken`);
  }
  throw new ApplicationError('notAllowed', 'the server takes no applications');
}

/** The departments, and the version of the list; an empty list where `version` is the server's. */
export async function listDepartments(
  options: ApplyOptions,
  version = -1,
): Promise<{ version: number; departments: Department[] }> {
  const record = outgoing.requestDepartments(version);
  const records = await ask(options, record, ({ type }) => type === 'departmentsEnd');
  const departments: Department[] = [];
  let current = version;
  for (const each of records) {
    if (each.type === 'departmentsVersion') current = each.version;
    if (each.type !== 'department') continue;
    departments.push({ id: each.columns[0], parent: each.columns[1], columns: each.columns });
  }
  return { version: current, departments };
}

// Sends one record after the greeting; gives what came, up to the last that is waited for.
async function ask(
  { connect, codePage = 936, signal, timeout = 15_000 }: ApplyOptions,
  record: string,
  isLast: (incoming: Incoming) => boolean,
): Promise<Incoming[]> {
  const page = await openCodePage(codePage);
  const stop = new AbortController();
  const stream = new RecordStream(page);
  const came: Incoming[] = [];
  return new Promise<Incoming[]>((resolve, reject) => {
    let quiet: ReturnType<typeof setTimeout> | undefined;
    const fail = (error: Error) => finish(() => reject(error));
    const timer = setTimeout(() => fail(new ConnectionError('the server does not answer')), timeout);
    const onAbort = () => fail(abortError(signal!));
    const finish = (settle: () => void) => {
      clearTimeout(timer);
      clearTimeout(quiet);
      signal?.removeEventListener('abort', onAbort);
      opened.then((transport) => transport.close(), () => undefined);
      settle();
    };
    const take = (records: string[]) => {
      for (const incoming of records.map(parseRecord)) {
        came.push(incoming);
        if (incoming.type === 'greeting') {
          void opened.then((transport) => transport.send(encodeForApplications(page, record)));
        }
        if (isLast(incoming)) finish(() => resolve(came));
      }
    };
    const onBytes = (bytes: Uint8Array) => {
      clearTimeout(quiet);
      take(stream.feed(bytes));
      if (stream.hasRest) quiet = setTimeout(() => take(stream.takeRest()), 40);
    };
    const onClose = (why: string) => fail(new ConnectionError(why));
    const opened = connect({ onBytes, onText: () => undefined, onClose }, stop.signal);
    opened.catch(fail);
    if (signal?.aborted) onAbort();
    signal?.addEventListener('abort', onAbort);
  });
}
