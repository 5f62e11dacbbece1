// The other end of the page, scripted: serves the page on port 7790 and speaks the WebSocket's
// messages on 7791. Each test file has a loopback address of its own, because the ports are fixed.
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';

const { WebSocketServer } = await import('ws').catch(() => ({}));

const sources = new URL('../../../src/web/page/', import.meta.url);
export const version = 'v1test';
export const linkKey = 'abcdefgh23456789jkmn';

export const type = {
  params: 1, frame: 2, bye: 4, ping: 5, cursorPos: 6, cursorShape: 7, denied: 8, textFocus: 9,
  probeAck: 10, probe: 11,
};

// The page as one document, put together independently of the build's own way.
function assemblePage() {
  const read = (name) => readFileSync(new URL(name, sources), 'utf8');
  return read('page.html').replaceAll(/\/\*\{\{(.+?)\}\}\*\//g, (_, name) => read(name));
}

const clips = JSON.parse(readFileSync(new URL('clips.json', import.meta.url), 'utf8'));
const bytes = (text) => Buffer.from(text, 'base64');
const u16 = (...values) => Buffer.concat(values.map((value) => {
  const buffer = Buffer.alloc(2);
  buffer.writeUInt16BE(value);
  return buffer;
}));

// A clip of real H.264: its configuration message and its frames, the first a key frame.
export function clip(name) {
  const { width, height, sps, pps, frames } = clips[name];
  const [s, p] = [bytes(sps), bytes(pps)];
  return {
    width, height, sps: s, pps: p, frames: frames.map(bytes),
    params: Buffer.concat([u16(s.length), s, u16(p.length), p]),
  };
}

// A frame that says in which macroblocks it differs from the one before.
export function noted(frame, ...area) {
  const numbers = area.flatMap((number) => [0x80 | number >> 7, 0x80 | (number & 127)]);
  const note = Buffer.from('060518ef4385dc52f841e9aae545218f6137a6', 'hex');
  return Buffer.concat([u16(0, note.length + numbers.length + 1), note, Buffer.from(numbers),
    Buffer.of(0x80), frame]);
}

export function cursorAt(x, y, visible = true) {
  return Buffer.concat([u16(7, Math.round(x * 65535), Math.round(y * 65535)), Buffer.of(+visible)]);
}

export function cursorShape({ hotX, hotY, width, height, png }) {
  return Buffer.concat([u16(hotX * 16, hotY * 16, width * 16, height * 16), png]);
}

// A list that can be waited for.
class Inbox {
  #items = [];
  #waiting = [];

  push(item) {
    const taker = this.#waiting.shift();
    if (taker) taker(item);
    else this.#items.push(item);
  }

  // The next item. What does not come is for the test's own time-out.
  next() {
    if (this.#items.length > 0) return Promise.resolve(this.#items.shift());
    return new Promise((resolve) => { this.#waiting.push(resolve); });
  }

  get size() {
    return this.#items.length;
  }

  clear() {
    this.#items = [];
    this.#waiting = [];
  }
}

// One page's connection.
class Connection {
  #inbox = new Inbox();

  constructor(socket) {
    this.socket = socket;
    this.closed = once(socket, 'close');
    socket.on('message', (data, binary) => this.#inbox.push(binary ? data : JSON.parse(data)));
  }

  // The page's next message: an object, or a Buffer.
  next() {
    return this.#inbox.next();
  }

  send(kind, payload = Buffer.alloc(0)) {
    this.socket.send(Buffer.concat([Buffer.of(kind), payload]));
  }

  sendRaw(data) {
    this.socket.send(data);
  }

  // Everything that the page has sent up to now, having handled everything sent to it.
  async drain() {
    const mark = Buffer.from('7e57ed00', 'hex');
    this.send(type.probe, mark);
    const messages = [];
    for (;;) {
      const message = await this.next();
      if (Buffer.isBuffer(message) && message.subarray(1, 5).equals(mark)) return messages;
      messages.push(message);
    }
  }

  sendStream({ params, frames }) {
    this.send(type.params, params);
    for (const frame of frames) this.send(type.frame, frame);
  }
}

export class FakeComputer {
  #connections = new Inbox();
  #servers = [];
  version = version;

  constructor(address) {
    this.address = address;
  }

  get url() {
    return `http://${this.address}:7790/#k=${linkKey}`;
  }

  async start() {
    const page = assemblePage();
    const http = createServer((request, response) => {
      const asked = request.url.startsWith('/version');
      response.setHeader('Cache-Control', 'no-store');
      response.setHeader('Content-Type', asked ? 'text/plain' : 'text/html; charset=utf-8');
      response.end(asked ? this.version : page.replaceAll('__VERSION__', this.version));
    }).listen(7790, this.address);
    const sockets = new WebSocketServer({ host: this.address, port: 7791 });
    sockets.on('connection', (socket) => this.#connections.push(new Connection(socket)));
    this.#servers = [http, sockets];
    await Promise.all([once(http, 'listening'), once(sockets, 'listening')]);
  }

  stop() {
    const [http, sockets] = this.#servers;
    for (const client of sockets?.clients ?? []) client.terminate();
    sockets?.close();
    http?.close();
    http?.closeAllConnections();
  }

  nextConnection() {
    return this.#connections.next();
  }

  // What a failed test left behind is not the next one's business.
  forgetConnections() {
    this.#connections.clear();
    this.version = version;
  }

  get waitingConnections() {
    return this.#connections.size;
  }
}
