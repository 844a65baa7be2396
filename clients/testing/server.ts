// A server of a test's own: a folder of sample data, on a loopback address of its own.

import { ChildProcess, execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const programs = process.env.VNQ_PROGRAMS ?? '';
export const vnqctl = join(programs, 'vnqctl');

/** A sample account that `vnqctl init --demo` makes. */
export interface Account {
  readonly userId: string;
  readonly user: string;
  readonly password: string;
}

const account = (userId: string, user: string): Account => ({
  userId,
  user,
  password: `${user}-pw-${userId}`,
});

/** Alice and carol take friend requests at once, ben is asked. */
export const alice = account('1', 'alice');
export const ben = account('2', 'ben');
export const carol = account('3', 'carol');
export const wangfang = account('4', 'wangfang');
/** A group of alice, ben, wangfang and liwei. */
export const team = 'Clot000001';

export interface ServerOptions {
  readonly codePage?: number;
}

export class TestServer {
  readonly folder = mkdtempSync(join(tmpdir(), 'vnq_clients_'));
  readonly address: string;
  #process?: ChildProcess;
  #output = '';

  /** @param number tells servers of one test process apart, 0 to 9 */
  private constructor(number: number) {
    const { pid } = process;
    this.address = `127.${150 + number}.${1 + (Math.floor(pid / 254) % 254)}.${1 + (pid % 254)}`;
  }

  static async start(number = 0, { codePage = 936 }: ServerOptions = {}): Promise<TestServer> {
    const server = new TestServer(number);
    const page = ['--code-page', String(codePage), '--language', '1033'];
    execFileSync(vnqctl, ['init', '--app-path', server.folder, '--demo', ...page]);
    await server.run();
    return server;
  }

  /** Starts the process; resolves when its ports are open. */
  async run(): Promise<void> {
    const args = ['--app-path', this.folder, '--bind', this.address];
    this.#output = '';
    const started = spawn(join(programs, 'vnq_main_service'), args);
    this.#process = started;
    await new Promise<void>((resolve, reject) => {
      const onText = (text: string) => {
        this.#output += text;
        if (/\bready\b/.test(this.#output)) resolve();
      };
      for (const stream of [started.stdout, started.stderr]) {
        stream.setEncoding('utf8');
        stream.on('data', onText);
      }
      started.once('error', reject);
      started.once('exit', () => reject(new Error(`the server has ended: ${this.#output}`)));
    });
  }

  /** Ends the process, by SIGKILL where it is to have no time. */
  async kill(signal: 'SIGTERM' | 'SIGKILL' = 'SIGTERM'): Promise<void> {
    const running = this.#process;
    if (!running || running.exitCode !== null || running.signalCode !== null) return;
    const ended = once(running, 'exit');
    running.kill(signal);
    await ended;
  }

  /** Lets the process stand still, with its connections open, or go on. */
  freeze(isFrozen: boolean): void {
    this.#process?.kill(isFrozen ? 'SIGSTOP' : 'SIGCONT');
  }

  async stop(): Promise<void> {
    await this.kill();
    rmSync(this.folder, { recursive: true, force: true });
  }

  /** What `vnqctl` prints for this server's folder. */
  ctl(...args: string[]): string {
    return execFileSync(vnqctl, [...args, '--app-path', this.folder], { encoding: 'utf8' });
  }

  /** The server's SQL is asked with the engine's own shell. */
  history(user: string, ...args: string[]): Record<string, unknown>[] {
    const text = this.ctl('history', '--user', user, '--json', ...args).trim();
    return text === '' ? [] : (JSON.parse(text) as Record<string, unknown>[]);
  }
}

/** Waits until a condition holds; rejects with `what` after a time. */
export async function until(condition: () => boolean, what: () => string, ms = 30_000): Promise<void> {
  const deadline = Date.now() + ms;
  while (!condition()) {
    if (Date.now() > deadline) throw new Error(`waited ${ms} ms in vain: ${what()}`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}
