import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { connect as connectTls } from 'node:tls';
import { networkOf } from '../src/limits';
import { Deployment, until } from './deployment';

const folder = mkdtempSync(join(tmpdir(), 'vnq_pages_'));
let deployment: Deployment;
before(async () => {
  mkdirSync(join(folder, 'web/assets'), { recursive: true });
  writeFileSync(join(folder, 'web/index.html'), '<!doctype html>');
  writeFileSync(join(folder, 'web/assets/app.1a2b.js'), 'x'.repeat(5000));
  writeFileSync(join(folder, 'web/.secret'), 'hidden');
  writeFileSync(join(folder, 'outside.txt'), 'outside');
  writeFileSync(join(folder, 'widget.js'), '// widget');
  deployment = new Deployment();
  deployment.init();
  await deployment.startGateway('--web', join(folder, 'web'), '--widget', join(folder, 'widget.js'));
});
after(() => deployment.stop());

test('pages: the web client comes with a policy without exceptions', async () => {
  const page = await deployment.get('/');
  assert.equal(page.text, '<!doctype html>');
  const policy = page.headers['content-security-policy'] ?? '';
  assert.match(policy, /default-src 'none'/);
  assert.doesNotMatch(policy, /unsafe|\*/);
  assert.equal(page.headers['x-content-type-options'], 'nosniff');
  assert.equal(page.headers['cache-control'], 'no-cache');
});

test('pages: built files are compressed and kept for good', async () => {
  const file = await deployment.get('/assets/app.1a2b.js', { 'Accept-Encoding': 'gzip' });
  assert.equal(file.headers['content-encoding'], 'gzip');
  assert.match(file.headers['cache-control'] ?? '', /immutable/);
  assert.equal((await deployment.get('/assets/app.1a2b.js')).text.length, 5000);
});

test('pages: nothing outside the folder and nothing hidden is served', async () => {
  for (const path of ['/../outside.txt', '/%2e%2e/outside.txt', '/..%2foutside.txt', '/.secret', '/assets', '/%00', '/%', '/index.php', '/a\\..\\..\\outside.txt']) {
    assert.equal((await deployment.get(path)).status, 404, path);
  }
  assert.equal((await deployment.get('/', {}, 'POST')).status, 405);
});

test('pages: the widget is for every site', async () => {
  const widget = await deployment.get('/widget.js');
  assert.equal(widget.text, '// widget');
  assert.equal(widget.headers['access-control-allow-origin'], '*');
});

test('pages: a file that is exchanged is served anew, one that is gone is told of', async () => {
  writeFileSync(join(folder, 'widget.js'), '// another widget');
  assert.equal((await deployment.get('/widget.js')).text, '// another widget');
  rmSync(join(folder, 'widget.js'));
  assert.equal((await deployment.get('/widget.js')).status, 500);
  assert.ok(deployment.logged.some(({ event, path }) => event === 'request_failed' && path === '/widget.js'));
  assert.equal((await deployment.get('/')).status, 200);
});

test('limits: an IPv6 network counts as one address', () => {
  const networks = ['10.0.0.9', '2001:db8:1:2:3:4:5:6', '2001:db8:1:2::7', '2001:0db8:0001:0002::', '::1', '2001:db8::5', 'fe80::1%eth0'];
  assert.deepEqual(networks.map(networkOf), [
    '10.0.0.9', '2001:db8:1:2::/64', '2001:db8:1:2::/64', '2001:db8:1:2::/64', '0:0:0:0::/64', '2001:db8:0:0::/64', 'fe80:0:0:0::/64',
  ]);
});

test('pages: health and metrics are for operators', async () => {
  assert.equal((await deployment.get('/health')).status, 503);
  assert.match((await deployment.get('/metrics')).text, /^# HELP vnq_gateway_sessions /m);
  assert.equal((await deployment.get('/health', { 'X-Forwarded-For': '8.8.8.8' })).status, 403);
  assert.equal((await deployment.get('/metrics', { 'X-Forwarded-For': '8.8.8.8' })).status, 403);
});

function certificate(name: string, place: string): void {
  const args = ['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1', '-nodes', '-days', '2'];
  const files = ['-keyout', join(place, 'key.pem'), '-out', join(place, 'cert.pem')];
  execFileSync('openssl', [...args, '-subj', `/CN=${name}`, ...files], { stdio: 'ignore' });
}

function nameOfCertificate(host: string, port: number): Promise<string> {
  return new Promise((resolve, reject) => {
    const socket = connectTls({ host, port, rejectUnauthorized: false }, () => {
      resolve((socket as any).getPeerCertificate().subject.CN);
      socket.destroy();
    });
    socket.on('error', reject);
  });
}

test('pages: a changed certificate is in use without a restart, a broken one is not', async () => {
  const place = mkdtempSync(join(tmpdir(), 'vnq_tls_'));
  certificate('first', place);
  const own = new Deployment();
  own.init();
  await own.startBare('--certificate', join(place, 'cert.pem'), '--key', join(place, 'key.pem'));
  assert.equal(await nameOfCertificate(own.address, own.port), 'first');
  certificate('second', place);
  own.gateway.rereadCertificate();
  assert.equal(await nameOfCertificate(own.address, own.port), 'second');
  writeFileSync(join(place, 'cert.pem'), 'rubbish');
  own.gateway.rereadCertificate();
  assert.equal(await nameOfCertificate(own.address, own.port), 'second');
  assert.ok(own.logged.some(({ event }) => event === 'certificate_unusable'));
  certificate('third', place);
  await until(async () => (await nameOfCertificate(own.address, own.port)) === 'third', 'the watch of the file');
  await own.stop();
});
