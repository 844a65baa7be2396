// The examples and the README's bot, as somebody else runs them: from the built package.
import assert from 'node:assert/strict';
import { ChildProcess, execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { cpSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join as joinPath } from 'node:path';
import { after, before, test } from 'node:test';

import { alice, ben, carol, team, TestServer, until } from '../../testing/server';
import { join } from './people';

const clients = process.env.VNQ_CLIENTS ?? '.';
const examples = joinPath(clients, 'client/dist/examples');
let server: TestServer;
const running: ChildProcess[] = [];

before(async () => {
  execFileSync(joinPath(clients, 'build.sh'), [], { stdio: 'pipe' });
  server = await TestServer.start();
});
after(async () => {
  for (const child of running) child.kill('SIGKILL');
  await server.stop();
});

interface Run {
  readonly child: ChildProcess;
  output: string;
  readonly ended: Promise<number>;
}

function run(args: string[], env: Record<string, string>, cwd = clients): Run {
  const child = spawn('node', args, { env: { ...process.env, ...env }, cwd });
  running.push(child);
  const started: Run = { child, output: '', ended: once(child, 'close').then(([code]) => code as number) };
  for (const stream of [child.stdout, child.stderr]) {
    stream.setEncoding('utf8');
    stream.on('data', (text: string) => (started.output += text));
  }
  return started;
}

const env = (account: { user: string; password: string }) => ({
  VNQ_SERVER: server.address,
  VNQ_USER: account.user,
  VNQ_PASSWORD: account.password,
});

test("README: the bot's ten lines answer", async (t) => {
  const readme = readFileSync(joinPath(clients, 'client/README.md'), 'utf8');
  const code = /^```js\n(import [\s\S]*?)^```/m.exec(readme)![1];
  assert.ok(code.trim().split('\n').length <= 10, 'it is longer than promised');
  const folder = mkdtempSync(joinPath(tmpdir(), 'vnq_bot_'));
  t.after(() => rmSync(folder, { recursive: true }));
  const installed = joinPath(folder, 'node_modules/@vnq/client');
  mkdirSync(installed, { recursive: true });
  cpSync(joinPath(clients, 'client/dist'), joinPath(installed, 'dist'), { recursive: true });
  cpSync(joinPath(clients, 'client/package.json'), joinPath(installed, 'package.json'));
  writeFileSync(joinPath(folder, 'bot.mjs'), code.replace("'127.0.0.1'", 'process.env.VNQ_SERVER'));
  const bot = run(['bot.mjs'], env(carol), folder);
  await until(() => bot.output.includes(`logged in as ${carol.userId}`), () => bot.output);
  const a = await join(t, server, alice);
  const answer = a.next('message');
  await a.send(carol.userId, 'hello 你好');
  assert.equal((await answer).text, 'You said: hello 你好');
  bot.child.kill();
  await bot.ended;
});

test('package: what is required and what is imported work alike', () => {
  for (const script of [
    "const { Client } = require('./client/dist/index.cjs'); console.log(typeof Client)",
    "import('./client/dist/node.js').then(({ Client, tcp }) => console.log(typeof Client, typeof tcp))",
  ]) {
    const output = execFileSync('node', ['-e', script], { cwd: clients, encoding: 'utf8' });
    assert.match(output, /^function( function)?\n$/);
  }
});

test('package: its types are found by an import and by a require, under both ways of TypeScript to look', (t) => {
  const folder = mkdtempSync(joinPath(tmpdir(), 'vnq_types_'));
  t.after(() => rmSync(folder, { recursive: true }));
  const installed = joinPath(folder, 'node_modules/@vnq/client');
  for (const part of ['dist', 'node', 'package.json']) {
    cpSync(joinPath(clients, 'client', part), joinPath(installed, part), { recursive: true });
  }
  // Without the types `text` would be of none, which --strict refuses.
  const code = `import { Gateway } from '@vnq/client';
    import { Client, tcp } from '@vnq/client/node';
    const catchUp = new Gateway('', () => '');
    new Client({ connect: tcp(), user: '', password: '', catchUp }).on('message', ({ text }) => text.length);`;
  for (const name of ['a.mts', 'b.cts', 'c.ts']) writeFileSync(joinPath(folder, name), code);
  const check = (...args: string[]) => {
    const options = ['--noEmit', '--strict', '--target', 'es2022', '--lib', 'es2022,dom'];
    execFileSync('tsc', [...options, ...args], { cwd: folder, encoding: 'utf8' });
  };
  check('--module', 'nodenext', '--moduleResolution', 'nodenext', 'a.mts', 'b.cts');
  check('--module', 'esnext', '--moduleResolution', 'node', 'c.ts');
});

test('echo_bot: answers persons, and groups that name it; says good-bye', async (t) => {
  const bot = run([joinPath(examples, 'echo_bot.cjs')], env(ben));
  await until(() => bot.output.includes('logged in as ben (2)'), () => bot.output);
  const a = await join(t, server, alice);
  const answer = a.next('message');
  await a.send(ben.userId, 'ping');
  assert.equal((await answer).text, 'You said: ping');
  const inGroup = a.next('groupMessage');
  await a.sendToGroup(team, 'are you there, @ben?');
  assert.equal((await inGroup).text, 'I am here.');
  const gone = a.next('presence', ({ state }) => state === 'offline');
  bot.child.kill('SIGTERM');
  assert.deepEqual((await gone).userIds, [ben.userId]);
  assert.equal(await bot.ended, 0);
});

test('alert: the group has it when the command ends', async (t) => {
  const a = await join(t, server, alice);
  const arrived = a.next('groupMessage');
  const args = [joinPath(examples, 'alert.cjs'), '--server', server.address, '--group', team, 'disk full 磁盘满'];
  const alert = run(args, env(ben));
  assert.equal(await alert.ended, 0, alert.output);
  assert.equal((await arrived).text, 'disk full 磁盘满');
});

test('alert: standard input goes to a person', async () => {
  const args = [joinPath(examples, 'alert.cjs'), '--server', server.address, '--to', carol.userId, '-'];
  execFileSync('node', args, { input: 'two\nlines\n', env: { ...process.env, ...env(ben) } });
  assert.deepEqual(server.history(carol.user, '--search', 'two').map(({ text }) => text), ['two\nlines']);
});

test('alert: a refusal, a server that is away and bad arguments are told by the exit code', async () => {
  const alert = joinPath(examples, 'alert.cjs');
  const there = ['--server', server.address, '--to', '1', 'x'];
  const wrong = run([alert, ...there], env({ ...ben, password: 'no' }));
  assert.equal(await wrong.ended, 1);
  assert.match(wrong.output, /^alert: the log-in was refused: the server knows no such user/);
  const away = run([alert, '--server', '127.0.0.99', '--seconds', '1', '--to', '1', 'x'], env(ben));
  assert.equal(await away.ended, 1);
  assert.match(away.output, /^alert: not stored within 1 s/);
  for (const args of [[], ['x'], ['--to', '1', '--group', 'C', 'x'], ['--what', '1', 'x']]) {
    const bad = run([alert, ...args], env(ben));
    assert.equal(await bad.ended, 2);
    assert.match(bad.output, /^usage: alert/);
  }
});
