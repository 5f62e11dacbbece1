// A device that opens the application's page in a browser, and what a person sees there.
import { see } from './programs.mjs';
import { awaitColours } from './testCard.mjs';

export const type = {
  params: 1, frame: 2, bye: 4, cursorPos: 6, cursorShape: 7, denied: 8, textFocus: 9,
};

export class Visitor {
  errors = [];
  // Of the page to the application, oldest first: url, open, counts[type], lastFrame.
  connections = [];

  // Each visitor is a device of its own: nothing is shared with other contexts of the browser.
  static async open(browser, link, options = {}) {
    const visitor = new Visitor();
    visitor.context = await browser.newContext(
      { viewport: { width: 800, height: 600 }, deviceScaleFactor: 1, ...options });
    await visitor.openPage(link);
    return visitor;
  }

  async openPage(link) {
    this.page = await this.context.newPage();
    this.page.on('pageerror', (error) => this.errors.push(error));
    this.page.on('websocket', (socket) => this.#watch(socket));
    await this.page.goto(link);
  }

  #watch(socket) {
    const connection = { url: socket.url(), open: true, counts: {}, lastFrame: 0 };
    this.connections.push(connection);
    socket.on('framereceived', ({ payload }) => {
      const kind = payload[0];
      connection.counts[kind] = (connection.counts[kind] ?? 0) + 1;
      if (kind === type.frame) connection.lastFrame = performance.now();
    });
    socket.on('close', () => { connection.open = false; });
  }

  get connection() {
    return this.connections.at(-1);
  }

  tap() {
    return this.page.locator('#msg').click();
  }

  deviceID() {
    return this.page.evaluate(() => localStorage.getItem('ts-id'));
  }

  // The panel's heading, nothing when it is hidden.
  panel() {
    return this.page.evaluate(() => {
      const panel = document.getElementById('msg');
      return panel.hidden ? null : panel.firstElementChild.textContent;
    });
  }

  awaitPanel(heading) {
    return see(`the panel "${heading}"`, () => this.panel(), (shown) => shown?.startsWith(heading));
  }

  // Waits until a picture of this size is shown.
  awaitPicture({ width, height }) {
    return see(`a picture of ${width}x${height}`, () => this.page.evaluate(() => {
      const canvas = document.getElementById('v');
      const panel = document.getElementById('msg');
      return { width: canvas.width, height: canvas.height,
               panel: panel.hidden ? null : panel.innerText };
    }), (seen) => seen.width === width && seen.height === height && seen.panel === null);
  }

  // The shown colours ('rrggbb') at places of the picture.
  colours(places) {
    return this.page.evaluate((wanted) => {
      const context = document.getElementById('v').getContext('2d');
      return wanted.map(({ x, y }) => [...context.getImageData(x, y, 1, 1).data.slice(0, 3)]
        .map((value) => value.toString(16).padStart(2, '0')).join(''));
    }, places);
  }

  // Waits until the colour at each place ({ x, y, colour }) is right.
  awaitColours(...wanted) {
    return awaitColours((places) => this.colours(places), wanted);
  }

  // The middle of the pointer that the page draws and how many of its pixels have the crosshair's
  // orange; nothing while it is hidden.
  pointer() {
    return this.page.evaluate(() => {
      const image = document.getElementById('p');
      if (getComputedStyle(image).display === 'none' || !image.complete) return null;
      const canvas = new OffscreenCanvas(image.naturalWidth || 1, image.naturalHeight || 1);
      const context = canvas.getContext('2d');
      context.drawImage(image, 0, 0);
      const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
      const orange = (at) => data[at] > 240 && Math.abs(data[at + 1] - 0x80) < 16
        && data[at + 2] < 16 && data[at + 3] > 128;
      const visible = data.filter((_, at) => at % 4 === 0 && orange(at)).length;
      const { x, y, width, height } = image.getBoundingClientRect();
      return { x: x + width / 2, y: y + height / 2, visible };
    });
  }

  close() {
    return this.context.close();
  }
}
