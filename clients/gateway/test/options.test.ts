import { mkdtempSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { help, OptionError, readOptions } from '../src/options';

const folder = mkdtempSync(join(tmpdir(), 'vnq_options_'));
const file = (name: string, text: string) => {
  const path = join(folder, name);
  writeFileSync(path, text);
  return path;
};
const refusal = (...args: string[]) => {
  try {
    readOptions(args);
  } catch (error) {
    assert.ok(error instanceof OptionError);
    return (error as Error).message;
  }
  return assert.fail('nothing was refused');
};

test('options: without any the gateway serves this machine only', () => {
  const { listen, server, agents } = readOptions([]);
  assert.deepEqual({ listen, server, agents }, { listen: { host: '127.0.0.1', port: 8443 }, server: { host: '127.0.0.1', port: 6004 }, agents: [] });
});

test('options: a flag wins over the file', () => {
  const config = file('a.conf', '# comment\n\nlisten = 127.0.0.1:1\nmax-sessions = 7\nbehind-proxy = yes\n');
  const { listen, maxSessions, behindProxy } = readOptions(['--listen=[::1]:2', '--config', config]);
  assert.deepEqual({ listen, maxSessions, behindProxy }, { listen: { host: '::1', port: 2 }, maxSessions: 7, behindProxy: true });
});

test('options: a refusal names the file with its line, or the command line', () => {
  const config = file('b.conf', '\nmax-sessions = many\n');
  assert.equal(refusal('--config', config), `${config}, line 2: max-sessions: many is not a number from 1 to 30000`);
  assert.equal(refusal('--config', file('c.conf', 'nonsense\n')), `${join(folder, 'c.conf')}, line 1: NAME = VALUE is wanted`);
  assert.equal(refusal('--web', '/nowhere'), 'command line: web: /nowhere is not a folder');
  assert.equal(refusal('--colour', 'red'), 'command line: there is no setting colour');
  assert.match(refusal('--config', '/nowhere'), /^--config: .*\/nowhere/);
});

test('options: plain HTTP is refused where others could listen', () => {
  assert.match(refusal('--listen', '0.0.0.0:80'), /without --certificate and --key only a loopback address/);
  assert.equal(readOptions(['--listen', '0.0.0.0:80', '--behind-proxy']).behindProxy, true);
});

test('options: what belongs together is wanted together', () => {
  assert.match(refusal('--certificate', folder), /belong together/);
  assert.match(refusal('--agents', '1,2'), /needs --visitor-data/);
  assert.match(refusal('--agents', 'a|b'), /a\|b is not a UserID/);
  assert.match(refusal('--visitor-origins', 'example.com'), /not an origin/);
  assert.match(refusal('--listen', '127.0.0.1'), /not ADDRESS:PORT/);
  assert.match(refusal('stray'), /stray is not a flag/);
});

test('options: the help names every setting', () => {
  for (const name of ['listen', 'certificate', 'agents', 'form-webhook', 'operators']) assert.match(help(), new RegExp(`--${name} `));
});
