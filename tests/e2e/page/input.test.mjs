// The pointer on top of the picture, and touches and typing on their way back.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { clip, cursorAt, cursorShape, type } from './fakeComputer.mjs';
import { missing, show, start, useBrowser, withPage } from './harness.mjs';

const tools = useBrowser('127.0.0.73');
const { computer } = tools;
const options = { skip: missing, timeout: 60000 };
const picture = clip('landscape');

// A PNG of one colour, drawn by the browser.
async function png(page, width, height) {
  const base64 = await page.evaluate(async ([w, h]) => {
    const canvas = new OffscreenCanvas(w, h);
    canvas.getContext('2d').fillRect(0, 0, w, h);
    const bytes = new Uint8Array(await (await canvas.convertToBlob()).arrayBuffer());
    return btoa(String.fromCharCode(...bytes));
  }, [width, height]);
  return Buffer.from(base64, 'base64');
}

async function pointerBecomes(page, connection, wanted) {
  await connection.drain();
  await page.waitForFunction((box) => {
    const shown = document.getElementById('p').getBoundingClientRect();
    if (!box) return shown.width === 0;
    return Object.entries(box).every(([name, value]) => Math.abs(shown[name] - value) < 0.1);
  }, wanted, { polling: 20 });
}

// Counts the addresses of images that the page has made and not given back.
function countAddresses() {
  globalThis.addresses = new Set();
  const { createObjectURL, revokeObjectURL } = URL;
  URL.createObjectURL = (blob) => {
    const url = createObjectURL(blob);
    globalThis.addresses.add(url);
    return url;
  };
  URL.revokeObjectURL = (url) => {
    globalThis.addresses.delete(url);
    revokeObjectURL(url);
  };
}

test('draws the pointer where the computer has it', options, async () => {
  await withPage(tools, { setup: countAddresses }, async (page) => {
    const connection = await start(page, computer);
    const shape = { hotX: 3.5, hotY: 0.25, width: 8.5, height: 9, png: await png(page, 17, 18) };
    for (let i = 0; i < 50; i++) connection.send(type.cursorShape, cursorShape(shape));
    await page.waitForFunction(() => document.getElementById('p').naturalWidth === 17, null,
      { polling: 20 });
    assert.equal(await page.evaluate(() => globalThis.addresses.size), 1);
    connection.send(type.cursorPos, cursorAt(0.5, 0.5));
    await pointerBecomes(page, connection, null);
    await show(page, connection, clip('portrait'));

    // In 16ths of a pixel, on a picture with bars at the sides.
    connection.send(type.cursorPos, cursorAt(0, 1));
    const scale = 600 / 640;
    await pointerBecomes(page, connection, {
      x: (800 - 400 * scale) / 2 - 3.5 * scale, y: 600 - 0.25 * scale,
      width: 8.5 * scale, height: 9 * scale,
    });
    await page.setViewportSize({ width: 400, height: 320 });
    await pointerBecomes(page, connection, { x: 100 - 1.75, y: 320 - 0.125, width: 4.25 });

    // The size that belongs to other pictures waits for the first of them.
    connection.send(type.params, picture.params);
    connection.send(type.cursorShape, cursorShape({ ...shape, width: 17, height: 18 }));
    await pointerBecomes(page, connection, { width: 4.25 });
    await show(page, connection, picture);
    await pointerBecomes(page, connection, { width: 17 * 400 / 640 });
    connection.send(type.cursorShape, cursorShape({ ...shape, png: Buffer.from('no image') }));
    await pointerBecomes(page, connection, null);
  });
});

// Real touches, through the browser's own input path.
async function touchScreen(page, context) {
  const devtools = await context.newCDPSession(page);
  const send = (kind, points) => devtools.send('Input.dispatchTouchEvent', {
    type: kind, touchPoints: points.map(([x, y], id) => ({ x, y, id })),
  });
  return {
    down: (...points) => send('touchStart', points),
    move: (...points) => send('touchMove', points),
    up: (...left) => send('touchEnd', left),
    cancel: () => send('touchCancel', []),
    async tap(point) {
      await this.down(point);
      await this.up();
    },
  };
}

const rounded = (messages) => messages.map((message) => Object.fromEntries(
  Object.entries(message).map(([name, value]) =>
    [name, typeof value === 'number' ? Math.round(value * 1000) / 1000 : value])));

test('turns touches into input', options, async () => {
  await withPage(tools, { hasTouch: true }, async (page, context) => {
    const connection = await start(page, computer);
    await show(page, connection, picture);
    const touch = await touchScreen(page, context);
    const wait = (ms) => page.clock.runFor(ms);
    const middle = { x: 0.5, y: 0.5 };

    const cases = [
      ['a tap', () => touch.tap([200, 175]), [{ t: 'tap', x: 0.25, y: 0.25 }]],
      ['a tap beside the picture', () => touch.tap([799, 10]), [{ t: 'tap', x: 0.999, y: 0 }]],
      ['8 px of wandering', async () => {
        await touch.down([400, 300]);
        await touch.move([405, 306]);
        await touch.up();
      }, [{ t: 'tap', ...middle }]],
      ['taps, of which the third is plain again, and 300 ms are too slow', async () => {
        for (const after of [299, 100, 300, 0]) {
          await touch.tap([400, 300]);
          await wait(after);
        }
      }, ['tap', 'double', 'tap', 'tap'].map((t) => ({ t, ...middle }))],
      ['a long press, whose lift is nothing', async () => {
        await touch.down([400, 300]);
        await wait(549);
        assert.deepEqual(await connection.drain(), []);
        await wait(1);
        await touch.up();
      }, [{ t: 'right', ...middle }]],
      // Two fingers zoom around their first middle, again after each step, until the last one lifts.
      ['a pinch', async () => {
        await touch.down([350, 300], [450, 300]);
        await touch.move([340, 300], [462, 300]);
        assert.deepEqual(await connection.drain(), []);
        for (const [left, right] of [[337, 463], [330, 480], [310, 470], [330, 451]]) {
          await touch.move([left, 300], [right, 300]);
        }
        await wait(600);
        await touch.up([330, 300]);
        await touch.move([300, 200]);
        await touch.up();
      }, ['in', 'in', 'out'].map((dir) => ({ t: 'zoom', dir, ...middle }))],
      ['what the system takes over', async () => {
        await touch.down([400, 300]);
        await touch.cancel();
        await wait(600);
      }, []],
    ];
    for (const [what, act, expected] of cases) {
      await act();
      assert.deepEqual(rounded(await connection.drain()), expected, what);
      await wait(1000);
    }

    // A drag scrolls by picture pixels; its movements add up to the finger's.
    await touch.down([400, 300]);
    await wait(500);
    for (const [x, y] of [[400, 305], [400, 310], [410, 360], [400, 310]]) await touch.move([x, y]);
    await wait(600);
    await touch.up();
    const scrolls = rounded(await connection.drain());
    assert.deepEqual([...new Set(scrolls.map(({ t }) => t))], ['scroll']);
    const { t: _, ...last } = scrolls.at(-1);
    assert.deepEqual(last, { x: 0.5, y: 0.52, dx: -8, dy: -40 });
    const sum = (name) => scrolls.reduce((total, scroll) => total + scroll[name], 0);
    assert.ok(sum('dx') === 0 && Math.abs(sum('dy') - 8) <= 4, 'follows the finger');
  });
});

test('offers the keyboard and sends what is typed', options, async () => {
  await withPage(tools, { hasTouch: true }, async (page, context) => {
    const connection = await start(page, computer);
    await show(page, connection, picture);
    const button = page.locator('#kb');
    const focus = (on) => connection.send(type.textFocus, Buffer.from(JSON.stringify({ on, x: 0 })));
    const focused = () => page.evaluate(() => document.activeElement.id);
    focus(true);
    await button.waitFor();
    await button.tap();
    assert.equal(await focused(), 'ti');

    for (const name of ['a', 'Tab', 'F1', 'Shift']) await page.keyboard.press(name);
    assert.deepEqual(await connection.drain(), [{ t: 'text', s: 'a' }, { t: 'key', k: 'Tab' }]);
    assert.equal(await focused(), 'ti', 'Tab stays in the field');

    // Pasted, replaced and, as input methods do it, composed text.
    await page.evaluate(() => {
      const insert = (inputType, data) => document.getElementById('ti').dispatchEvent(
        new InputEvent('beforeinput', { inputType, data, cancelable: true, bubbles: true }));
      insert('insertFromPaste', 'two words');
      insert('insertReplacementText', 'right');
      insert('insertText', null);
      insert('deleteContentBackward', null);
    });
    const devtools = await context.newCDPSession(page);
    for (const text of ['k', 'か', '漢']) {
      await devtools.send('Input.imeSetComposition',
        { text, selectionStart: text.length, selectionEnd: text.length });
    }
    await devtools.send('Input.insertText', { text: '漢字' });
    assert.deepEqual(await connection.drain(),
      ['two words', 'right', '', '漢字'].map((s) => ({ t: 'text', s })));
    assert.equal(await page.locator('#ti').inputValue(), '');

    connection.send(type.bye);
    await button.waitFor({ state: 'hidden' });
  });
});
