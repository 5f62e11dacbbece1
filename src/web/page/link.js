// One connection at a time to the computer: it introduces this device, notices when the other end
// is gone and connects again. What the messages mean is its owner's business.

const socketPort = 7791;
const reconnectDelay = 2000;   // ms
const watchdogInterval = 1000; // ms
const silenceLimit = 4000;     // ms; the computer sends something every second while it streams
const connectLimit = 10000;    // ms; browsers themselves may try for minutes
const fullScreenLimit = 500;   // ms that the hello waits for the viewport to grow
const highDensity = 1.5;       // device pixels per CSS pixel from which a screen counts as HiDPI

class Link {
  #device;
  #socket = null;
  #reconnect = 0;
  #lastMessage = 0;
  #sentSize = null;  // of the viewport in the last hello, CSS px
  #viewport = Promise.resolve();

  // `device` has key, id and name; `events` has connecting(), asking(), message(type, payload),
  // lost() and streaming().
  constructor(device, events) {
    this.#device = device;
    this.events = events;
    setInterval(() => this.#watch(), watchdogInterval);
  }

  get open() {
    return this.#socket !== null && this.#socket.readyState === WebSocket.OPEN;
  }

  // Connects at once, unless there is a connection already. With `viewport` the hello waits a
  // moment for that promise, so that it tells the size of the full screen.
  connect(viewport = Promise.resolve()) {
    if (this.#socket) return;
    clearTimeout(this.#reconnect);
    this.#viewport = Promise.race([
      Promise.resolve(viewport).catch(() => {}),
      new Promise((resolve) => setTimeout(resolve, fullScreenLimit)),
    ]);
    this.#lastMessage = performance.now();
    this.events.connecting();
    const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
    const socket = this.#socket = new WebSocket(`${scheme}://${location.hostname}:${socketPort}`);
    socket.binaryType = 'arraybuffer';
    socket.onopen = () => this.#introduce(socket);
    socket.onclose = () => this.#lost();
    socket.onmessage = ({ data }) => this.#received(data);
    this.#checkVersion(socket);
  }

  // Ends the connection without a word to the owner; nothing of it arrives any more.
  close() {
    clearTimeout(this.#reconnect);
    const socket = this.#socket;
    if (!socket) return;
    this.#socket = null;
    socket.onopen = socket.onclose = socket.onmessage = null;
    socket.close();
  }

  reconnectLater() {
    clearTimeout(this.#reconnect);
    this.#reconnect = setTimeout(() => this.connect(), reconnectDelay);
  }

  send(data) {
    if (this.open) this.#socket.send(data);
  }

  // The page slept: silence up to now says nothing about the other end.
  wake() {
    this.#lastMessage = performance.now();
  }

  // Whether the viewport was turned on its side since the hello. Toolbars and keyboards change the
  // height alone.
  get turned() {
    if (!this.open || !this.#sentSize || innerWidth === this.#sentSize.width) return false;
    return (innerWidth > innerHeight) !== (this.#sentSize.width > this.#sentSize.height);
  }

  async #introduce(socket) {
    await this.#viewport;
    if (socket !== this.#socket || !this.open) return;
    const density = devicePixelRatio || 1;
    this.#sentSize = { width: innerWidth, height: innerHeight };
    this.send(JSON.stringify({
      w: Math.round(innerWidth * density),
      h: Math.round(innerHeight * density),
      scale: density >= highDensity ? 2 : 1,
      ...this.#device,
    }));
    this.events.asking();
  }

  #received(data) {
    this.#lastMessage = performance.now();
    if (!(data instanceof ArrayBuffer) || data.byteLength === 0) return;
    this.events.message(new DataView(data).getUint8(0), new Uint8Array(data, 1));
  }

  // Does not wait for a closing handshake that a dead peer never answers.
  #lost() {
    this.close();
    this.events.lost();
  }

  #watch() {
    if (!this.#socket || document.hidden) return;
    const silence = performance.now() - this.#lastMessage;
    const connecting = this.#socket.readyState === WebSocket.CONNECTING;
    const dead = this.open && this.events.streaming() && silence > silenceLimit;
    if (dead || (connecting && silence > connectLimit)) this.#lost();
  }

  // A page that is older than the application replaces itself, once for each connection.
  async #checkVersion(socket) {
    try {
      const response = await fetch('/version', { cache: 'no-store' });
      const current = await response.text();
      if (current !== '' && current !== pageVersion && socket === this.#socket) replacePage();
    } catch {
      // The connection itself tells whether the computer is there.
    }
  }
}
