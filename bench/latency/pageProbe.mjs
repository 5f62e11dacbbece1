// Looks over a page's shoulder: reads the painted code from its canvas each time the page paints
// there, and counts what its WebSockets receive. The function is sent to the browser as it is, so
// it uses nothing from outside. The layout of the code is bench/painter/PaintedCode.h's.

// The code is at (x, y) of a display `width` pixels wide; the canvas may hold a coarser picture.
export function installProbe({ x, y, width: displayWidth }) {
  const cells = 32;
  const rowsRead = 4;  // from the middle of the cells, where neighbours do not bleed in
  const counterBits = 20;

  const probe = { paints: [], codes: [], bytes: 0, unreadable: 0, readMs: 0, wallOffset: 0 };
  window.tessalineProbe = {
    start(load) {
      Object.assign(probe, { paints: [], codes: [], bytes: 0, unreadable: 0, readMs: 0 });
      if (load === 'pointer') watchPointer();
      probe.wallOffset = wallOffset();
    },
    take: () => probe,
  };

  const now = () => performance.timeOrigin + performance.now();

  // Date.now() follows the wall clock, now() the clock of the page's start. Both are looked at
  // around the steps of the former, which has whole milliseconds.
  function wallOffset() {
    const offsets = [];
    let before = Date.now();
    while (offsets.length < 21) {
      const after = Date.now();
      if (after !== before) offsets.push(after - now());
      before = after;
    }
    return offsets.sort((a, b) => a - b)[10];
  }

  function checksum(counter) {
    let crc = 0x5a;
    for (const shift of [16, 8, 0]) {
      crc ^= (counter >> shift) & 0xff;
      for (let bit = 0; bit < 8; bit++) crc = crc & 0x80 ? ((crc << 1) ^ 0x07) & 0xff : crc << 1;
    }
    return crc;
  }

  function readCounter(context) {
    const scale = Math.min(1, context.canvas.width / displayWidth);
    const cellSize = 16 * scale;
    const margin = cellSize / 4;
    const width = cells * cellSize;
    const top = y * scale + (cellSize - rowsRead) / 2;
    const { data } = context.getImageData(x * scale, top, width, rowsRead);
    let bits = 0n;
    for (let cell = 0; cell < cells; cell++) {
      let sum = 0;
      for (let row = 0; row < rowsRead; row++) {
        for (let column = margin; column < cellSize - margin; column++) {
          sum += data[(row * width + cell * cellSize + column) * 4 + 1];
        }
      }
      bits = (bits << 1n) | (sum > 128 * rowsRead * (cellSize - 2 * margin) ? 1n : 0n);
    }
    const value = Number(bits);
    const counter = Math.floor(value / 2 ** 10) % 2 ** counterBits;
    const framed = Math.floor(value / 2 ** 30) === 0b10 && (value & 0b11) === 0b01;
    return framed && ((value >> 2) & 0xff) === checksum(counter) ? counter : null;
  }

  // The clock is read after the pixels have been read back: a canvas may put painting off until
  // somebody looks.
  function observe(context) {
    const painted = now();
    const counter = readCounter(context);
    const seen = now();
    probe.paints.push(painted);
    probe.readMs += seen - painted;
    if (counter === null) probe.unreadable++;
    else if (probe.codes.at(-1)?.[0] !== counter) probe.codes.push([counter, seen]);
  }

  // Which of the painter's two places the pointer's image has been put to.
  function watchPointer() {
    const image = document.querySelector('#p');
    new MutationObserver(() => {
      const at = now();
      const { y, height } = image.getBoundingClientRect();
      const place = height > 0 && y < 300 / devicePixelRatio ? 0 : 1;
      probe.paints.push(at);
      if (probe.codes.at(-1)?.[0] !== place) probe.codes.push([place, at]);
    }).observe(image, { attributes: true, attributeFilter: ['style'] });
  }

  const proto = CanvasRenderingContext2D.prototype;
  for (const name of ['drawImage', 'putImageData']) {
    const paint = proto[name];
    proto[name] = function (...args) {
      paint.apply(this, args);
      if (this.canvas.isConnected) observe(this);
    };
  }

  // Not a subclass: pages look at what a socket's prototype offers.
  window.WebSocket = new Proxy(window.WebSocket, {
    construct(WebSocket, args) {
      const socket = new WebSocket(...args);
      socket.addEventListener('message', ({ data }) => {
        probe.bytes += data.byteLength ?? data.size ?? data.length;
      });
      return socket;
    },
  });
}
