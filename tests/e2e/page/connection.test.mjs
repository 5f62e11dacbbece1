// How the page starts, introduces itself, ends and comes back.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { clip, linkKey, type } from './fakeComputer.mjs';
import { greeted, missing, panelLines, show, start, useBrowser, withPage } from './harness.mjs';

const tools = useBrowser('127.0.0.71');
const { computer } = tools;
const options = { skip: missing, timeout: 60000 };

const agents = {
  iPhone: 'Mozilla/5.0 (iPhone; CPU iPhone OS 17_4 like Mac OS X) AppleWebKit/605.1.15',
  'Android device': 'Mozilla/5.0 (Linux; Android 14; Pixel 8) AppleWebKit/537.36 Chrome/124.0',
  iPad: 'Mozilla/5.0 (Macintosh; Intel Mac OS X 10_15_7) AppleWebKit/605.1.15 Version/17.4',
};

const startLines = ['Tap to start', "This screen becomes your Mac's extra screen."];
const waitingLines = (name) =>
  [`Waiting for your Mac to allow this ${name}…`, 'Click “Allow” on your Mac.'];
const lostLines = ['Waiting for your Mac…', 'Reconnecting'];
const refusedLines = [
  'Not allowed',
  'This link is out of date, or the device was refused on the Mac. Scan the QR code again.',
];
const tip = 'For a true full screen: tap Share, then “Add to Home Screen”, and open Tessaline from there.';

async function panelBecomes(page, lines) {
  await page.waitForFunction((text) => {
    const panel = document.getElementById('msg');
    return !panel.hidden && panel.textContent === text;
  }, lines.join(''), { polling: 20 });
  assert.deepEqual(await panelLines(page), lines);
}

test('says why it cannot start, and then ignores taps', options, async () => {
  const cases = [
    [{ url: `http://${computer.address}:7790/?auto=1#other=ABC` }, 'Scan the QR code on your Mac'],
    [{ setup: () => delete globalThis.VideoDecoder }, "This browser can't show the screen here"],
  ];
  for (const [pageOptions, heading] of cases) {
    await withPage(tools, pageOptions, async (page) => {
      await page.locator('#msg').click();
      await page.clock.runFor(5000);
      assert.equal((await panelLines(page))[0], heading);
    });
  }
});

test('introduces the device by size, scale, kind and a lasting identifier', options, async () => {
  for (const [name, userAgent] of Object.entries(agents)) {
    const phone = name === 'iPhone';
    const setup = () => {
      if (/Macintosh/.test(navigator.userAgent)) {
        Object.defineProperty(navigator, 'maxTouchPoints', { get: () => 5 });
      }
    };
    const contextOptions = phone
      ? { userAgent, viewport: { width: 390, height: 844 }, deviceScaleFactor: 3, hasTouch: true }
      : { userAgent, deviceScaleFactor: 1.25, setup };
    await withPage(tools, contextOptions, async (page) => {
      const appended = phone ? [tip] : [];
      assert.deepEqual(await panelLines(page), [...startLines, ...appended]);
      const { hello } = await start(page, computer);
      const { id, ...rest } = hello;
      assert.deepEqual(rest, phone
        ? { w: 1170, h: 2532, scale: 2, key: linkKey, name }
        : { w: 1000, h: 750, scale: 1, key: linkKey, name });
      assert.match(id, /^\d+-\d+-\d+-\d+$/);
      await panelBecomes(page, [...waitingLines(name), ...appended]);
      await page.reload();
      assert.equal((await start(page, computer)).hello.id, id);
    });
  }
});

test('what ends a connection decides whether and when the next is made', options, async () => {
  const cases = [
    ['a refusal', true, (first) => first.send(type.denied), refusedLines, false],
    ['a stop', false, (first) => first.send(type.bye), startLines, false],
    ['a stop of a page that starts by itself', true, (first) => first.send(type.bye), lostLines, true],
    ['a loss', false, (first) => first.socket.terminate(), lostLines, true],
  ];
  for (const [what, auto, end, lines, again] of cases) {
    const url = auto ? computer.url.replace('#', '?auto#') : computer.url;
    await withPage(tools, { url }, async (page) => {
      const first = auto ? await greeted(computer) : await start(page, computer);
      if (lines !== refusedLines) await show(page, first, clip('landscape'));
      end(first);
      await first.closed;
      await panelBecomes(page, lines);
      await page.clock.runFor(again ? 1999 : 60000);
      assert.equal(computer.waitingConnections, 0, what);
      if (again) await page.clock.runFor(1);
      const second = again ? await greeted(computer) : await start(page, computer);
      await panelBecomes(page, waitingLines('Browser'));

      // A tap does not wait, and makes no other connection than its own.
      second.socket.terminate();
      await panelBecomes(page, lostLines);
      const third = await start(page, computer);
      await page.locator('#msg').click();
      await page.clock.runFor(5000);
      assert.equal(third.socket.readyState, third.socket.OPEN);
    });
  }
});

test('four silent seconds end a stream, and only a stream', options, async () => {
  await withPage(tools, {}, async (page) => {
    const first = await start(page, computer);
    await page.clock.runFor(30000);
    assert.equal(first.socket.readyState, first.socket.OPEN);

    await show(page, first, clip('landscape'));
    for (let second = 0; second < 8; second++) {
      first.send(type.ping);
      await first.drain();
      await page.clock.runFor(1000);
    }
    await page.clock.runFor(3000);
    assert.equal(await panelLines(page), null);
    await page.clock.runFor(1000);
    await panelBecomes(page, lostLines);
    await first.closed;
    await page.clock.runFor(2000);
    await greeted(computer);
  });
});

test('a page that was hidden first listens again', options, async () => {
  const setup = () => {
    Object.defineProperty(document, 'hidden', { get: () => globalThis.isHidden ?? false });
    globalThis.locks = [];
    navigator.wakeLock.request = async () => {
      const lock = new EventTarget();
      lock.release = async () => {
        globalThis.locks.splice(globalThis.locks.indexOf(lock), 1);
        lock.dispatchEvent(new Event('release'));
      };
      globalThis.locks.push(lock);
      return lock;
    };
  };
  await withPage(tools, { setup }, async (page) => {
    const setHidden = (hidden) => page.evaluate((value) => {
      globalThis.isHidden = value;
      if (value) globalThis.locks[0].release();  // as the browser does
      document.dispatchEvent(new Event('visibilitychange'));
    }, hidden);
    const locks = () => page.evaluate(() => globalThis.locks.length);

    const connection = await start(page, computer);
    assert.equal(await locks(), 0);
    await show(page, connection, clip('landscape'));
    assert.equal(await locks(), 1);
    await setHidden(true);
    await page.clock.runFor(60000);
    await setHidden(false);
    assert.equal(await locks(), 1);
    await page.clock.runFor(4000);
    assert.equal(await panelLines(page), null);
    await page.clock.runFor(1000);
    await panelBecomes(page, lostLines);
    assert.equal(await locks(), 0);
  });
});

test('a rotation asks for a new screen when it has settled', options, async () => {
  const setup = () => addEventListener('resize', () => { globalThis.resizedTo = innerHeight; });
  const portrait = { viewport: { width: 390, height: 844 }, hasTouch: true, setup };
  await withPage(tools, portrait, async (page) => {
    const resize = async (width, height) => {
      await page.setViewportSize({ width, height });
      await page.waitForFunction((to) => globalThis.resizedTo === to, height, { polling: 20 });
    };
    const first = await start(page, computer);
    await show(page, first, clip('portrait'));
    // A toolbar, then a keyboard that leaves less height than width.
    for (const height of [760, 300]) {
      await resize(390, height);
      await page.clock.runFor(2000);
      assert.equal(first.socket.readyState, first.socket.OPEN);
    }
    await resize(844, 390);
    await page.clock.runFor(799);
    assert.equal(computer.waitingConnections, 0);
    await page.clock.runFor(1);
    await first.closed;
    const second = await greeted(computer);
    assert.deepEqual([second.hello.w, second.hello.h], [844, 390]);
    await show(page, second, clip('landscape'));
    await page.clock.runFor(3000);
  });
});

test('a newer page replaces this one, starts, and still obeys a stop', options, async () => {
  await withPage(tools, {}, async (page) => {
    const first = await start(page, computer);
    assert.equal(new URL(page.url()).search, '');
    computer.version = 'v2test';
    first.socket.terminate();
    await panelBecomes(page, lostLines);
    await page.clock.runFor(2000);
    await page.waitForURL(`http://${computer.address}:7790/?auto=1#k=${linkKey}`);
    // The old page may have connected once more before it went, with or without a hello.
    let connection;
    for (let hello = null; !hello || computer.waitingConnections > 0;) {
      connection = await computer.nextConnection();
      const silence = connection.closed.then(() => null);
      hello = await Promise.race([connection.next(), silence]);
      if (connection.socket.readyState !== connection.socket.OPEN) hello = null;
    }
    connection.send(type.bye);
    await panelBecomes(page, startLines);
    await page.clock.runFor(5000);
    await start(page, computer);
  });
});
