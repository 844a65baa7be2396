// The gateway as an independent WebSocket client sees it.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import { after, before, test } from 'node:test';

import WebSocket from 'ws';

import { Deployment } from './deployment.js';

const deployment = new Deployment();
let agent;

before(async () => {
  await deployment.start();
  agent = await deployment.agent('alice', 'alice-pw-1');
});
after(() => deployment.stop());

const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// One frame a read is the gateway's rule.
async function send(socket, record) {
  socket.send(Buffer.from(record).toString('base64'));
  await pause(80);
}

async function connect() {
  const socket = new WebSocket(deployment.gateway, { origin: 'http://shop.example' });
  const upgraded = once(socket, 'upgrade');
  await once(socket, 'open');
  return { socket, headers: (await upgraded)[0].headers };
}

test('the handshake is accepted and names origin and host', async () => {
  const { socket, headers } = await connect();
  assert.equal(headers['websocket-origin'], 'http://shop.example');
  assert.equal(headers['websocket-location'], `${deployment.address}:6001`);
  socket.terminate();
});

test('a visitor is announced and a line arrives', async () => {
  const { socket } = await connect();
  await send(socket, '.+customer|1|v-ws|Lyon|%u4F60|#');
  await agent.saw('visitor v-ws (Lyon)');
  await send(socket, '.+customer_information|1|v-ws|Lyon|one%20line|#');
  await agent.saw(': one line\n');
  socket.terminate();
});

test('a line in pieces arrives whole', async () => {
  const { socket } = await connect();
  await send(socket, '.+customer_information|1|v-ws|Lyon|piece%20one,');
  await send(socket, 'piece%20two,');
  await send(socket, 'piece%20three|#');
  await agent.saw(': piece one,piece two,piece three\n');
  socket.terminate();
});

test('nothing comes back, not even for a ping or a close', async () => {
  const { socket } = await connect();
  let came = 0;
  for (const event of ['message', 'ping', 'pong', 'close']) socket.on(event, () => (came += 1));
  socket.ping();
  await pause(80);
  await send(socket, '.+customer_information|1|v-ws|c|after%20the%20ping|#');
  socket.close();
  await agent.saw(': after the ping\n');
  await pause(300);
  assert.equal(came, 0);
  socket.terminate();
});

test('a visitor who comes again drops the earlier connection', async () => {
  const first = (await connect()).socket;
  const closed = once(first, 'close');
  await send(first, '.+customer||v-again|c||#');
  const second = (await connect()).socket;
  await send(second, '.+customer||v-again|c||#');
  await closed;
  assert.equal(second.readyState, WebSocket.OPEN);
  second.terminate();
});
