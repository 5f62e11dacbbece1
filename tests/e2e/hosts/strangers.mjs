// Whoever else is on the network: node strangers.mjs ADDRESS. Bothers the ports of a screen, ends
// when all of it has been said.
import { randomBytes } from 'node:crypto';
import { createSocket } from 'node:dgram';
import { once } from 'node:events';
import { connect } from 'node:net';

const [address] = process.argv.slice(2);
const ports = { stream: 7777, pointer: 7778 };
const connections = 200;
const type = { params: 1, frame: 2, cursorShape: 7, probe: 11 };

function message(kind, ...payload) {
  const body = Buffer.concat(payload.map((part) => Buffer.from(part)));
  const head = Buffer.alloc(5);
  head.writeUInt32BE(body.length + 1);
  head[4] = kind;
  return Buffer.concat([head, body]);
}

// Says something and hangs up; whether anybody listens to the end does not matter.
async function say(...chunks) {
  const socket = connect(ports.stream, address);
  socket.on('error', () => {});
  socket.resume();
  await Promise.race([once(socket, 'connect'), once(socket, 'close')]);
  for (const chunk of chunks) {
    if (socket.destroyed) break;
    if (!socket.write(Buffer.from(chunk))) {
      await Promise.race([once(socket, 'drain'), once(socket, 'close')]).catch(() => {});
    }
  }
  socket.destroy();
}

async function shower() {
  const socket = createSocket('udp4');
  for (let i = 0; i < 2000; ++i) {
    const datagram = i % 2 ? randomBytes(i % 64) : Buffer.from([6, ...randomBytes(7)]);
    await new Promise((sent) => socket.send(datagram, ports.pointer, address, sent));
  }
  socket.close();
}

const megabyte = Buffer.alloc(1 << 20, 0x55);
const pngSignature = [0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a];

await say(randomBytes(1 << 16));
await say([0, 0, 0, 0]);                                                 // a length of nothing
await say([0xff, 0xff, 0xff, 0xff], megabyte);                           // more than is allowed
await say([0x03, 0xff, 0xff, 0xff], ...Array(40).fill(megabyte));        // promised, never ended
await say(Buffer.alloc(3));
await say(
  message(type.params, [0, 4], randomBytes(4), [0, 4], randomBytes(4)),
  message(type.params, [0xff, 0xff, 1, 2]), message(type.frame, randomBytes(5000)),
  message(type.cursorShape, Buffer.alloc(8, 0xff), pngSignature, randomBytes(300)),
  message(type.probe, [1]), message(99, randomBytes(100)));
await Promise.all([shower(), ...Array.from({ length: connections }, () => say(randomBytes(4)))]);
