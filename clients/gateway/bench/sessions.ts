// What a gateway costs: memory a session, and the time that it adds to a round trip.
//
//   clients/gateway/bench/run.sh [SESSIONS]      (default: 1000)
//
// A server and a gateway of its own; so many accounts, each logged in through the gateway on a WebSocket
// and one in ten also straight on port 6004, as a phone. Then keep-alives, which the server answers at
// once, go round on both roads in turn, at an even pace.

import { execFileSync, spawn, type ChildProcess } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { connect } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { WebSocket } from 'ws';
import { encodeForMainPort, openCodePage, outgoing, RecordStream, type CodePage } from '@vnq/protocol';

const programs = process.env.VNQ_PROGRAMS ?? '';
const clients = process.env.VNQ_CLIENTS ?? '';
const count = Number(process.argv[2] ?? 1000);
const rounds = Number(process.argv[3] ?? 20_000);
const paceMs = 1;
const address = `127.79.${process.pid % 250}.${1 + (Math.floor(process.pid / 250) % 250)}`;
const folder = mkdtempSync(join(tmpdir(), 'vnq_bench_'));

const pause = (ms: number) => new Promise((resolve) => setTimeout(resolve, ms));

async function until(condition: () => boolean, what: string): Promise<void> {
  const deadline = Date.now() + 120_000;
  while (!condition()) {
    if (Date.now() > deadline) throw new Error(`waited in vain for ${what}`);
    await pause(10);
  }
}

/** One logged-in connection on either road. */
class Connection {
  records: string[] = [];
  onRecord: ((record: string) => void) | undefined;
  send!: (bytes: Uint8Array) => void;
  readonly #stream: RecordStream;

  constructor(private readonly page: CodePage) {
    this.#stream = new RecordStream(page);
  }

  byWebSocket(port: number): this {
    const ws = new WebSocket(`ws://${address}:${port}/ws`, { perMessageDeflate: false });
    ws.on('message', (data: Uint8Array, isBinary: boolean) => isBinary && this.#take(data));
    this.send = (bytes) => ws.send(bytes, { binary: true });
    return this;
  }

  straight(): this {
    const socket = connect({ host: address, port: 6004 });
    socket.setNoDelay(true);
    socket.on('data', (bytes: Uint8Array) => this.#take(bytes));
    this.send = (bytes) => socket.write(bytes);
    return this;
  }

  async login(user: string, platform?: string): Promise<void> {
    await until(() => this.records.includes('.+SuccessfulConnection|#'), 'the greeting');
    const landing = { user, password: 'pw', localAddress: '10.0.0.1', ...(platform ? { platform } : {}) };
    for (const text of encodeForMainPort(this.page, [outgoing.landing(landing)])) this.send(text);
    await until(() => this.records.some((each) => each.startsWith('.+landing_successful')), `the log-in of ${user}`);
    this.records = [];
  }

  roundTrip(): Promise<number> {
    const begin = process.hrtime.bigint();
    return new Promise((resolve) => {
      this.onRecord = () => resolve(Number(process.hrtime.bigint() - begin) / 1e6);
      this.send(Buffer.from('Lit5fCM='));
    });
  }

  #take(bytes: Uint8Array): void {
    const records = this.#stream.feed(bytes);
    if (this.#stream.restLooksComplete) records.push(...this.#stream.takeRest());
    for (const record of records) {
      if (record === '.+y|#' && this.onRecord) this.onRecord(record);
      else if (this.records.length < 10) this.records.push(record);
    }
  }
}

function residentBytes(pid: number): number {
  const [, kilobytes] = /VmRSS:\s+(\d+) kB/.exec(readFileSync(`/proc/${pid}/status`, 'utf8')) ?? [];
  return Number(kilobytes) * 1024;
}

function processorSeconds(pid: number): number {
  const fields = readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1].split(' ');
  return (Number(fields[11]) + Number(fields[12])) / 100;
}

const children: ChildProcess[] = [];

function start(file: string, args: string[], ready: RegExp): Promise<{ child: ChildProcess; said: string }> {
  const child = spawn(file, args, { stdio: ['ignore', 'ignore', 'pipe'] });
  children.push(child);
  const state = { child, said: '' };
  child.stderr.on('data', (text: Uint8Array) => (state.said += text.toString()));
  return until(() => ready.test(state.said) || child.exitCode !== null, file).then(() => state);
}

function percentile(times: number[], share: number): string {
  return [...times].sort((a, b) => a - b)[Math.floor((times.length - 1) * share)].toFixed(3);
}

function makeAccounts(): void {
  const vnqctl = join(programs, 'vnqctl');
  execFileSync(vnqctl, ['init', '--app-path', folder], { stdio: 'ignore' });
  const file = join(folder, 'users.csv');
  const lines = Array.from({ length: count }, (_, i) => `user${i},pw,User ${i}`);
  writeFileSync(file, `name,password,display-name\n${lines.join('\n')}\n`);
  execFileSync(vnqctl, ['user', 'add', '--app-path', folder, '--csv', file], { stdio: 'ignore' });
}

async function run(): Promise<void> {
  makeAccounts();
  const server = await start(join(programs, 'vnq_main_service'), ['--app-path', folder, '--bind', address], /\bready\b/);
  const flags = ['--listen', `${address}:0`, '--server', `${address}:6004`, '--app-path', folder, '--vnqctl', join(programs, 'vnqctl'), '--sessions-per-address', '30000', '--max-sessions', '30000'];
  const gateway = await start('node', [join(clients, 'gateway/dist/vnq-gateway.cjs'), ...flags], /"listening"/);
  const port = Number(/"port":(\d+)/.exec(gateway.said)?.[1]);
  const page = await openCodePage(936);
  const pid = gateway.child.pid!;
  const before = residentBytes(pid);
  const sessions: Connection[] = [];
  for (let i = 0; i < count; i += 50) {
    const some = Array.from({ length: Math.min(50, count - i) }, () => new Connection(page).byWebSocket(port));
    await Promise.all(some.map((each, j) => each.login(`user${i + j}`)));
    sessions.push(...some);
  }
  await pause(3000);
  const after = residentBytes(pid);
  const straight = Array.from({ length: Math.ceil(count / 10) }, () => new Connection(page).straight());
  await Promise.all(straight.map((each, i) => each.login(`user${i}`, '3')));
  const times: Record<'gateway' | 'straight', number[]> = { gateway: [], straight: [] };
  const spent = processorSeconds(pid);
  for (let round = 0; round < rounds; ++round) {
    times.straight.push(await straight[round % straight.length].roundTrip());
    times.gateway.push(await sessions[(round * 7) % sessions.length].roundTrip());
    if (round % 10 === 0) await pause(paceMs);
  }
  const busy = processorSeconds(pid) - spent;
  console.log(`sessions                 ${count}`);
  console.log(`memory, without any      ${(before / 2 ** 20).toFixed(1)} MiB`);
  console.log(`memory, with all         ${(after / 2 ** 20).toFixed(1)} MiB`);
  console.log(`memory a session         ${((after - before) / count / 1024).toFixed(1)} KiB`);
  for (const road of ['straight', 'gateway'] as const) {
    console.log(`${road.padEnd(9)} round trip      p50 ${percentile(times[road], 0.5)} ms, p99 ${percentile(times[road], 0.99)} ms`);
  }
  const added = (share: number) => (Number(percentile(times.gateway, share)) - Number(percentile(times.straight, share))).toFixed(3);
  console.log(`added                    p50 ${added(0.5)} ms, p99 ${added(0.99)} ms`);
  console.log(`processor of the gateway ${((busy / rounds) * 1e6).toFixed(0)} us a round trip`);
}

run()
  .then(() => 0, (error) => (console.error(error), 1))
  .then((code) => {
    for (const child of children) child.kill('SIGTERM');
    rmSync(folder, { recursive: true, force: true });
    process.exit(code);
  });
