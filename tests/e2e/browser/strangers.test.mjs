// Whoever else knocks at the two ports while a picture is shown.
import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { once } from 'node:events';
import { connect } from 'node:net';
import { afterEach } from 'node:test';

import { residentKiB, waitFor } from '../support/programs.mjs';
import { expectNextColour } from '../support/testCard.mjs';
import { ports, testApplication, useApplication } from './harness.mjs';

const { default: WebSocket } = await import('ws').catch(() => ({}));

const tools = useApplication();
const size = { width: 800, height: 600 };
const silentOnEachPort = 300;
const mayBeSilent = 64;     // of them the application keeps the newest
const mayGrow = 64 * 1024;  // KiB of memory while strangers send several times that

const open = new Set();
afterEach(() => {
  for (const socket of open) socket.destroy();
  open.clear();
});

// A connection that nobody minds losing.
function stranger(port) {
  const socket = connect(port, '127.0.0.1');
  open.add(socket);
  socket.on('error', () => {});
  socket.resume();
  return socket;
}

// Resolves when the connection has ended, in whatever way.
const closed = (socket) => new Promise((resolve) => {
  if (socket.destroyed) resolve();
  else socket.once('close', resolve);
});

// Resolves with how a WebSocket that sends `messages` ended: the first byte of the last message it
// got, if any.
function conversation(...messages) {
  return new Promise((resolve) => {
    const socket = new WebSocket(`ws://127.0.0.1:${ports.socket}`);
    let last;
    socket.on('open', () => messages.forEach((message) => socket.send(message)));
    socket.on('message', (data) => { last = data[0]; });
    socket.on('error', () => {});
    socket.on('close', () => resolve(last));
  });
}

async function expectUndisturbed(visitor) {
  await expectNextColour(tools.desktop, visitor.monitor, visitor);
  assert.equal(visitor.connections.length, 1, 'the session was lost');
  assert.ok(visitor.connection.open);
}

testApplication('hundreds of silent connections leave the picture and the door alone', async () => {
  const { application } = tools;
  const visitor = await tools.becomeScreen(size);
  const sockets = Object.values(ports).flatMap((port) => (
    Array.from({ length: silentOnEachPort }, () => stranger(port))));
  // Half of a handshake is silence as well.
  for (const socket of sockets.filter((_, index) => index % 3 === 0)) {
    socket.write('GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n');
  }
  await Promise.all(sockets.map((socket) => Promise.race([once(socket, 'connect'), closed(socket)])));
  await expectUndisturbed(visitor);
  await waitFor('an end of the oldest silent connections', async () => (
    (await application.status()).screens.length <= mayBeSilent + 1));

  const newest = await tools.becomeScreen({ width: 640, height: 480 });
  await expectUndisturbed(visitor);
  assert.equal(newest.connections.length, 1);
});

testApplication('junk on both ports is answered or closed, and costs no memory', async () => {
  const { application } = tools;
  const visitor = await tools.becomeScreen(size);
  await expectUndisturbed(visitor);
  const before = residentKiB(application.processID);

  const raw = [];
  for (const port of Object.values(ports)) {
    for (let i = 0; i < 20; ++i) {
      const socket = stranger(port);
      socket.write(randomBytes(64 * 1024));
      raw.push(closed(socket));
    }
    const endless = stranger(port);
    const chunk = Buffer.alloc(1 << 20, 'x');
    endless.write('GET / HTTP/1.1\r\nX: ');
    for (let i = 0; i < 96; ++i) endless.write(chunk);
    raw.push(closed(endless));
  }
  await Promise.all(raw);

  const hello = (fields) => JSON.stringify({ w: 800, h: 600, scale: 1, ...fields });
  const denied = 8;
  const wrongKeys = Array.from({ length: 40 }, (_, index) => (
    conversation(hello({ key: `wrong${index}`, id: 'x', name: 'Stranger' }))));
  assert.deepEqual(new Set(await Promise.all(wrongKeys)), new Set([denied]));

  await Promise.all([
    conversation(randomBytes(1 << 20)),
    conversation('x'.repeat(1 << 20)),
    conversation('['.repeat(8000), hello({})),
    conversation('null', '{}', '{"w":"a","h":{}}', hello({ key: 5 })),
    conversation(randomBytes(100), hello({ key: null, name: '\u0000'.repeat(500) })),
    // Input of somebody who was not allowed to give any.
    conversation('{"t":"tap","x":0.5,"y":0.5}', hello({ key: '' })),
  ]);
  await expectUndisturbed(visitor);
  assert.deepEqual((await application.status()).pending, []);
  const grown = residentKiB(application.processID) - before;
  assert.ok(grown < mayGrow, `it grew by ${grown} KiB`);
});

testApplication('sizes that cannot be end that session with its reason, and no other', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const key = application.link.split('k=')[1];
  const id = await visitor.deviceID();  // one that is allowed
  const sides = [[0, 600], [800, -1], [16385, 600], [2147483647, 2147483647]];
  for (const [w, h] of sides) {
    await conversation(JSON.stringify({ w, h, scale: 1, key, id, name: 'Odd' }));
  }
  assert.match(application.log, /Odd.*: Could not create the virtual display\./);
  await desktop.awaitExtraMonitors(size);
  await expectUndisturbed(visitor);
});
