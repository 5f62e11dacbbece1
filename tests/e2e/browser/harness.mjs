// One desktop, one application on it and one browser beside it for all tests of a file. Which desktop
// says TESSALINE_DESKTOP_KIND: x11 (the default) or mutter.
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { connect } from 'node:net';

import { Application, missing as missingApplication } from '../support/application.mjs';
import { launchChromium, missing as missingChromium } from '../support/chromium.mjs';
import { MutterDesktop } from '../support/mutterDesktop.mjs';
import { patience } from '../support/programs.mjs';
import { Visitor } from '../support/visitor.mjs';
import { X11Desktop } from '../support/x11Desktop.mjs';

const { default: WebSocket } = await import('ws').catch(() => ({}));

export const ports = { page: 7790, socket: 7791 };

const Desktop = { x11: X11Desktop, mutter: MutterDesktop }[
  process.env.TESSALINE_DESKTOP_KIND ?? 'x11'];

const missing = missingChromium || missingApplication || Desktop.missing;
if (missing && !missingChromium) console.log(`SKIPPED: ${missing}`);

// Several pages at once are all to run as if each were in front.
const flags = ['--disable-background-timer-throttling', '--disable-renderer-backgrounding',
               '--disable-backgrounding-occluded-windows'];

export function connects(port) {
  const socket = connect(port, '127.0.0.1');
  return once(socket, 'connect').then(() => true, () => false).finally(() => socket.destroy());
}

// A WebSocket of a device that says no more than who it is.
export function openSocket(application, device) {
  const socket = new WebSocket(`ws://127.0.0.1:${ports.socket}`);
  const key = application.link.split('k=')[1];
  socket.on('open', () => socket.send(JSON.stringify({ w: 800, h: 600, scale: 1, key, ...device })));
  return socket;
}

// Declares a test that is skipped, aloud, where something that all of them need is missing, or where
// this kind of desktop lacks what `needs` names (see the desktop's `lacks`).
export function testApplication(name, body, { needs, seconds = 90 } = {}) {
  const skip = missing || (Desktop.lacks[needs] ?? false);
  if (skip && !missing) console.log(`Not tested, "${name}": ${skip}`);
  test(name, { skip, timeout: seconds * 1000 * patience }, body);
}

// Whether this kind of desktop has what some of them lack.
export const has = (trait) => !(trait in Desktop.lacks);

// Starts all of it around the tests of the file. After each test no device is connected and no
// extra monitor is left, and before each one the application runs.
export function useApplication() {
  const tools = { visitors: [] };

  // Opens the page as a new device.
  tools.visit = async (options = {}) => {
    const { link = tools.application.link, ...contextOptions } = options;
    const visitor = await Visitor.open(tools.browser, link, contextOptions);
    tools.visitors.push(visitor);
    return visitor;
  };

  // Makes an extra screen of a new device, the way a person does, and returns it with its monitor.
  tools.becomeScreen = async (size, options = {}) => {
    const factor = options.deviceScaleFactor ?? 1;
    const pixels = { width: size.width * factor, height: size.height * factor };
    const visitor = await tools.visit({ viewport: size, ...options });
    if (!options.link?.includes('auto')) await visitor.tap();
    await tools.application.answer(await visitor.deviceID(), 'allow');
    await visitor.awaitPicture(pixels);
    visitor.monitor = (await tools.desktop.extraMonitors()).find(({ width, height }) => (
      width === pixels.width && height === pixels.height));
    assert.ok(visitor.monitor, 'a picture without a monitor of its size');
    return visitor;
  };

  if (missing) return tools;
  before(async () => {
    for (const port of Object.values(ports)) {
      assert.ok(!await connects(port), `port ${port} is in use: is Tessaline running already?`);
    }
    tools.desktop = new Desktop();
    await tools.desktop.start();
    tools.application = new Application(tools.desktop);
    tools.browser = await launchChromium(flags);
  });
  beforeEach(async () => {
    if (!tools.application.running) await tools.application.start();
  });
  afterEach(async (context) => {
    const visitors = tools.visitors.splice(0);
    await Promise.all(visitors.map((visitor) => visitor.close()));
    await tools.desktop.clearPaint();
    // The log tells what the assertion cannot.
    if (context.error) console.error(tools.application.log);
    if (tools.application.running) await tools.desktop.awaitExtraMonitors();
    for (const { errors } of visitors) assert.deepEqual(errors, [], 'errors in a page');
  });
  after(async () => {
    await tools.browser?.close();
    try {
      if (tools.application?.running) assert.equal(await tools.application.end('SIGTERM'), 0);
    } finally {
      await tools.desktop?.stop();
    }
  });
  return tools;
}
