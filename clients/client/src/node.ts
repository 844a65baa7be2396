// What there is in Node besides: connections by TCP and TLS, and an outbox in a file.

import { readFileSync, renameSync, writeFileSync } from 'node:fs';
import { connect as connectTcp, Socket } from 'node:net';
import { connect as connectTls } from 'node:tls';

import { abortError } from './emitter';
import { ConnectionError } from './errors';
import type { OutboxItem, OutboxStore } from './outbox';
import type { Connector, TransportHandlers } from './transport';

export * from './index';

export interface TcpOptions {
  readonly host?: string;
  readonly port?: number;
  /** How long a connection may take to come about, in milliseconds. */
  readonly timeout?: number;
}

export interface TlsOptions extends TcpOptions {
  /** Certificates to trust instead of the system's, in PEM. */
  readonly ca?: string;
  readonly servername?: string;
}

const mainPort = 6004;
const connectMs = 10_000;

/** A connection by TCP, as clients in the house make it. */
export function tcp({ host = '127.0.0.1', port = mainPort, timeout = connectMs }: TcpOptions = {}): Connector {
  return (handlers, signal) =>
    open(connectTcp({ host, port }), 'connect', `${host} port ${port}`, timeout, handlers, signal);
}

/** A connection by TLS, where something in front of the server ends the encryption. */
export function tls({ host = '127.0.0.1', port = mainPort, timeout = connectMs, ca, servername }: TlsOptions): Connector {
  return (handlers, signal) => {
    const options = { host, port, ...(ca ? { ca } : {}), ...(servername ? { servername } : {}) };
    const where = `${host} port ${port}`;
    return open(connectTls(options), 'secureConnect', where, timeout, handlers, signal);
  };
}

function open(
  socket: Socket,
  openEvent: string,
  where: string,
  timeout: number,
  handlers: TransportHandlers,
  signal: AbortSignal,
) {
  return new Promise<Awaited<ReturnType<Connector>>>((resolve, reject) => {
    let isOpen = false;
    let isOver = false;
    const end = (settle: () => void) => {
      if (isOver) return;
      isOver = true;
      clearTimeout(timer);
      signal.removeEventListener('abort', onAbort);
      socket.destroy();
      settle();
    };
    const fail = (why: string) =>
      end(() =>
        isOpen ? handlers.onClose(why) : reject(new ConnectionError(`cannot reach ${where}: ${why}`)),
      );
    const onAbort = () => end(() => reject(abortError(signal)));
    const timer = setTimeout(() => fail(`no answer within ${timeout} ms`), timeout);
    // Errors are told here, those of a socket that is already given up included.
    socket.on('error', (error: Error) => fail(error.message));
    socket.on('close', () => fail('the peer has closed the connection'));
    socket.on('data', (bytes: Uint8Array) => {
      if (!isOver) handlers.onBytes(bytes);
    });
    if (signal.aborted) return onAbort();
    signal.addEventListener('abort', onAbort);
    // Each text is to leave as a packet of its own, at once.
    socket.setNoDelay(true);
    socket.once(openEvent, () => {
      isOpen = true;
      clearTimeout(timer);
      resolve({
        localAddress: socket.localAddress ?? '',
        send: (bytes) => socket.write(bytes),
        close: () => end(() => socket.destroy()),
      });
    });
  });
}

/** An outbox in a file: what the server has not taken yet is sent by the next run of the program. */
export class FileOutbox implements OutboxStore {
  constructor(private readonly path: string) {}

  load(): OutboxItem[] {
    try {
      return JSON.parse(readFileSync(this.path, 'utf8')) as OutboxItem[];
    } catch (error) {
      if ((error as { code?: string }).code === 'ENOENT') return [];
      throw new Error(`cannot read the outbox ${this.path}: ${(error as Error).message}`);
    }
  }

  save(items: readonly OutboxItem[]): void {
    const fresh = `${this.path}.new`;
    writeFileSync(fresh, JSON.stringify(items), { mode: 0o600 });
    renameSync(fresh, this.path);
  }
}
