// A browser and a scripted computer for the tests of one file, and what they all do with a page.
import assert from 'node:assert/strict';
import { after, before } from 'node:test';

import { launchChromium, missing } from '../support/chromium.mjs';
import { FakeComputer } from './fakeComputer.mjs';

export { missing };

// Starts both around the file's tests. `address` is a loopback address that no other file uses.
export function useBrowser(address) {
  const tools = { computer: new FakeComputer(address), browser: null };
  before(async () => {
    if (missing) return;
    await tools.computer.start();
    tools.browser = await launchChromium();
  });
  after(async () => {
    await tools.browser?.close();
    tools.computer.stop();
  });
  return tools;
}

// Runs `body` with a page whose clock stands still until the body moves it, and fails when the page
// reported an error of its own. `setup` runs inside the page before its script.
export async function withPage({ browser, computer }, options, body) {
  computer.forgetConnections();
  const { url = computer.url, setup, argument, ...contextOptions } = options;
  const context = await browser.newContext({
    viewport: { width: 800, height: 600 }, ...contextOptions,
  });
  try {
    const page = await context.newPage();
    const errors = [];
    page.on('pageerror', (error) => errors.push(error));
    if (setup) await page.addInitScript(setup, argument);
    await page.clock.install({ time: 0 });
    await page.clock.pauseAt(1000);
    await page.goto(url);
    await body(page, context);
    assert.deepEqual(errors, [], 'errors in the page');
  } finally {
    await context.close();
  }
  assert.equal(computer.waitingConnections, 0, 'connections that nobody expected');
}

// Taps the panel and returns the connection with its hello read.
export async function start(page, computer) {
  await page.locator('#msg').click();
  return greeted(computer);
}

export async function greeted(computer) {
  const connection = await computer.nextConnection();
  connection.hello = await connection.next();
  return connection;
}

// Sends `stream` and waits until its picture is shown.
export async function show(page, connection, stream) {
  connection.sendStream(stream);
  await page.waitForFunction(({ width, height }) => {
    const canvas = document.getElementById('v');
    return canvas.width === width && canvas.height === height &&
        document.getElementById('msg').hidden;
  }, stream, { polling: 20 });
}

// The panel's lines, nothing when it is hidden.
export async function panelLines(page) {
  return page.evaluate(() => {
    const panel = document.getElementById('msg');
    return panel.hidden ? null : [...panel.children].map((line) => line.textContent);
  });
}
