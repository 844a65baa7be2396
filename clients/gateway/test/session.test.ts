import { createServer } from 'node:net';
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import { outgoing } from '@vnq/protocol';
import { Tokens } from '../src/tokens';
import { Deployment, granted, greeting, sample, until } from './deployment';

let deployment: Deployment;
before(async () => {
  deployment = await new Deployment().start();
});
after(() => deployment.stop());

test('session: the log-in opens one, and its token dies with it', async () => {
  const alice = await deployment.login('alice');
  assert.deepEqual(
    { ...alice.wire.texts[0], token: undefined },
    { type: 'session', user: '1', device: 'desktop', token: undefined },
  );
  assert.equal((await alice.get('/api/conversations')).status, 200);
  assert.equal((await deployment.get('/api/conversations')).status, 401);
  assert.equal((await deployment.get('/api/conversations', { Authorization: 'Bearer x' })).status, 401);
});

test('session: a wrong password opens none', async () => {
  const wire = deployment.open('/ws');
  await wire.saw('.+SuccessfulConnection');
  wire.send(outgoing.landing({ user: 'alice', password: 'guess' }));
  await wire.saw('.+LoginFailed');
  assert.equal((await wire.ended()).code, 1012);
  assert.deepEqual(wire.texts, []);
});

test('session: before the log-in nothing of a stranger reaches the server', async () => {
  const landing = outgoing.landing({ user: 'alice', password: sample.alice.password });
  const attempts = ['.+phone_log|3|#', '.+customer||web-forger|x|y|#', outgoing.changePassword('1', 'stolen'), `${landing}.+y|#`, '.+y|#'];
  for (const record of attempts) {
    const wire = deployment.open('/ws');
    await wire.saw('.+SuccessfulConnection');
    wire.send(record);
    assert.deepEqual(await wire.ended(), { code: 1008, reason: 'a log-in comes first' }, record);
    assert.deepEqual([wire.texts, wire.records.length], [[], 1], record);
  }
  await deployment.login('alice');
});

test('session: a second frame before the log-in is proven ends it', async () => {
  const wire = deployment.open('/ws');
  await wire.saw('.+SuccessfulConnection');
  wire.send(outgoing.landing({ user: 'alice', password: sample.alice.password }));
  wire.send('.+y|#');
  assert.deepEqual(await wire.ended(), { code: 1012, reason: 'the log-in is not proven' });
});

test('session: every byte goes both ways as it is, a frame in one piece', async () => {
  const reads: Uint8Array[] = [];
  const echo = createServer((socket) => {
    socket.write(greeting);
    socket.once('data', () => {
      socket.write(granted);
      socket.on('data', (bytes: Uint8Array) => {
        reads.push(bytes);
        socket.write(bytes);
      });
    });
  });
  await new Promise<void>((done) => echo.listen(0, deployment.address, done));
  const own = new Deployment();
  await own.startGateway('--server', `${deployment.address}:${(echo.address() as { port: number }).port}`);
  const wire = await own.loggedInAtFake();
  const before = wire.frames.length;
  const frames = [1, 3, 256, 1400].map((size) => Buffer.from(Array.from({ length: size }, (_, i) => (i * 7) % 256)));
  for (const [index, frame] of frames.entries()) {
    wire.ws.send(frame, { binary: true });
    await until(() => wire.frames.length > before + index, 'the echo');
  }
  assert.deepEqual(reads.map((read) => read.length), [1, 3, 256, 1400]);
  assert.ok(Buffer.concat(wire.frames.slice(before)).equals(Buffer.concat(frames)));
  await own.stop();
  echo.close();
});

test('session: a text frame from the browser ends it', async () => {
  const wire = deployment.open('/ws');
  await wire.opened();
  wire.say({ type: 'session', user: '1' });
  assert.equal((await wire.ended()).code, 1008);
});

test('session: a frame that is too long ends it', async () => {
  const wire = deployment.open('/ws');
  await wire.opened();
  wire.ws.send(Buffer.alloc((1 << 20) + 1), { binary: true });
  assert.equal((await wire.ended()).code, 1009);
});

test('session: a page of another site is turned away', async () => {
  const wire = deployment.open('/ws', { Origin: 'https://evil.example' });
  assert.equal((await wire.ended()).code, 1006);
  const own = deployment.open('/ws', { Origin: `http://${deployment.address}:${deployment.port}` });
  await own.saw('.+SuccessfulConnection');
});

test('session: other paths are no WebSockets', async () => {
  assert.equal((await deployment.open('/elsewhere').ended()).code, 1006);
  assert.equal((await deployment.open('/visitor').ended()).code, 1006);
});

test('session: a browser that reads nothing holds the server back, not the memory', async () => {
  const slow = await new Deployment().startWithFakeServer(1 << 25);
  const wire = slow.open('/ws');
  await wire.opened();
  wire.ws.pause();
  await until(() => slow.fake!.isHeldBack(), 'a server that is held back');
  assert.ok(slow.fake!.written() < 1 << 25, 'everything was taken from the server');
  wire.ws.resume();
  await until(() => wire.frames.reduce((sum, frame) => sum + frame.length, 0) === 1 << 25, 'all bytes');
  await slow.stop();
});

test('session: a server that reads nothing holds the browser back', async () => {
  const own = await new Deployment().startWithFakeServer(0);
  const wire = await own.loggedInAtFake();
  own.fake!.readsNothing = true;
  const frame = Buffer.alloc(1 << 19);
  for (let i = 0; i < 64; ++i) wire.ws.send(frame, { binary: true });
  let left = -1;
  await until(async () => {
    const before = wire.ws.bufferedAmount;
    await new Promise((resolve) => setTimeout(resolve, 400));
    left = wire.ws.bufferedAmount;
    return left > 0 && left === before;
  }, 'a browser that is held back');
  own.fake!.readsNothing = false;
  await until(() => wire.ws.bufferedAmount === 0, 'everything to be taken');
  await own.stop();
});

test('session: what a browser sends right before it leaves still arrives', async () => {
  const alice = await deployment.login('alice');
  const ben = await deployment.login('ben');
  alice.wire.send(outgoing.message({ target: '2', sender: '1', text: 'last words', id: `L${process.pid}` }));
  alice.wire.ws.close();
  await ben.wire.saw('last%20words');
});

test('session: a token lives on for a while after its connection, and no longer', async () => {
  const tokens = new Tokens(50);
  const { token } = tokens.open({ user: '1', device: 'desktop' });
  tokens.close(token);
  assert.equal(tokens.find(`Bearer ${token}`)?.user, '1');
  await until(() => tokens.find(`Bearer ${token}`) === undefined, 'its end');
});

test('session: the end of the server closes with 1012, and an absent one with 1013', async () => {
  const own = await new Deployment().start();
  const alice = await own.login('alice');
  await own.endServer('SIGKILL');
  assert.equal((await alice.wire.ended()).code, 1012);
  assert.equal((await own.open('/ws').ended()).code, 1013);
  const health = await own.get('/health');
  assert.deepEqual([health.status, health.json.server], [503, false]);
  await own.stop();
});

test('session: too many from one address are refused with the reason', async () => {
  const own = await new Deployment().start('--sessions-per-address', '2', '--max-sessions', '3');
  const wires = [own.open('/ws'), own.open('/ws')];
  for (const wire of wires) await wire.saw('.+SuccessfulConnection');
  assert.deepEqual(await own.open('/ws').ended(), { code: 1008, reason: 'too many connections from this address' });
  wires[0].close();
  await until(async () => !(await own.get('/metrics')).text.includes('vnq_gateway_sessions 2'), 'a free place');
  await own.open('/ws').saw('.+SuccessfulConnection');
  assert.match((await own.get('/metrics')).text, /vnq_gateway_refused_total\{why="address"\} 1/);
  await own.stop();
});

test('session: a stop tells browsers to come again', async () => {
  const own = await new Deployment().start();
  const alice = await own.login('alice');
  await own.gateway.stop();
  assert.equal((await alice.wire.ended()).code, 1001);
  await own.stop();
});
