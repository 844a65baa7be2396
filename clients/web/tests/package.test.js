// The library as a stranger gets it: packed, installed in an empty folder, the README's bot.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { alice, carol, Deployment, until } from './deployment.js';

const clients = fileURLToPath(new URL('../..', import.meta.url));
const npm = (args, cwd) => execFileSync('npm', [...args, '--offline', '--no-audit', '--no-fund'], { cwd, encoding: 'utf8' });

const deployment = new Deployment();
const folder = mkdtempSync(path.join(tmpdir(), 'vnq_bot_'));
before(async () => {
  deployment.init();
  await deployment.startServer();
});
after(async () => {
  await deployment.stop();
  rmSync(folder, { recursive: true });
});

test("package: packed and installed, the README's ten lines are a bot that answers", async (t) => {
  execFileSync(path.join(clients, 'build.sh'), { stdio: 'pipe' });
  const packed = npm(['pack', '--silent', '--pack-destination', folder, './client'], clients).trim();
  npm(['init', '-y'], folder);
  npm(['install', `./${packed}`], folder);
  const code = /^```js\n(import [\s\S]*?)^```/m.exec(readFileSync(path.join(clients, 'client/README.md'), 'utf8'))[1];
  assert.ok(code.trim().split('\n').length <= 10, code);
  writeFileSync(path.join(folder, 'bot.mjs'), code.replace("'127.0.0.1'", `'${deployment.address}'`));

  const bot = spawn('node', ['bot.mjs'], { cwd: folder });
  t.after(() => bot.kill('SIGKILL'));
  let said = '';
  for (const stream of [bot.stdout, bot.stderr]) stream.on('data', (text) => (said += text));
  await until(() => said.includes(`logged in as ${carol.id}`), `the bot in ${said}`);

  const { Client, tcp } = await import(path.join(folder, 'node_modules/@vnq/client/dist/node.js'));
  const connect = tcp({ host: deployment.address });
  const person = new Client({ connect, user: alice.user, password: alice.password });
  t.after(() => person.close());
  await person.login();
  const answer = person.next('message', ({ isOwn }) => !isOwn, { timeout: 20_000 });
  await person.send(carol.id, 'hello 你好');
  assert.equal((await answer).text, 'You said: hello 你好');
});
