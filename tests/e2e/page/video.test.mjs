// From the stream's bytes to the canvas, with the browser's own decoder.
import assert from 'node:assert/strict';
import { test } from 'node:test';

import { clip, noted, type } from './fakeComputer.mjs';
import { greeted, missing, panelLines, show, start, useBrowser, withPage } from './harness.mjs';

const tools = useBrowser('127.0.0.72');
const { computer } = tools;
const options = { skip: missing, timeout: 60000 };

const landscape = clip('landscape');
const portrait = clip('portrait');

// Writes down what the page asks of the decoder. `behaviour` makes 'prefer-hardware' look like a
// hardware decoder that answers late, refuses when configured or breaks when used.
function watchDecoder(behaviour) {
  const log = globalThis.decoderLog = {
    configured: [], decoded: [], outputs: 0, draws: 0, instances: [],
  };
  const Real = globalThis.VideoDecoder;
  const hardware = (config) => config.hardwareAcceleration === 'prefer-hardware';
  globalThis.VideoDecoder = class extends Real {
    #broken = false;
    constructor(callbacks) {
      super({
        ...callbacks,
        output: (frame) => {
          callbacks.output(frame);
          log.outputs++;
        },
      });
      this.fail = (error) => {
        this.close();
        callbacks.error(error);
      };
      log.instances.push(this);
    }
    static async isConfigSupported(config) {
      if (!behaviour) return Real.isConfigSupported(config);
      if (behaviour === 'late') await new Promise((resolve) => { globalThis.answer = resolve; });
      if (behaviour === 'rejects') throw new TypeError('test');
      return { supported: behaviour !== 'late', config };
    }
    configure(config) {
      log.configured.push({ ...config, description: [...config.description] });
      if (hardware(config) && behaviour === 'throws') throw new DOMException('no', 'NotSupportedError');
      this.#broken = hardware(config) && behaviour === 'breaks';
      super.configure({ ...config, hardwareAcceleration: 'no-preference' });
    }
    decode(chunk) {
      log.decoded.push(chunk.type);
      if (this.#broken) setTimeout(() => this.state === 'closed' || this.fail(new Error('broken')));
      else super.decode(chunk);
    }
  };
  const draw = CanvasRenderingContext2D.prototype.drawImage;
  CanvasRenderingContext2D.prototype.drawImage = function (...parameters) {
    log.draws++;
    return draw.apply(this, parameters);
  };
}

const decoderLog = (page) => page.evaluate(() => {
  const { configured, decoded, outputs, draws } = globalThis.decoderLog;
  return { configured, decoded, outputs, draws };
});

// Waits until `count` pictures have come out of the decoder, and been drawn or passed over.
async function decodedAll(page, count) {
  await page.waitForFunction((wanted) => globalThis.decoderLog.outputs >= wanted, count,
    { polling: 20 });
}

// Red, green and blue at places given as fractions of the canvas.
async function colours(page, places) {
  return page.evaluate((at) => {
    const canvas = document.getElementById('v');
    const context = canvas.getContext('2d');
    return at.map(([x, y]) => [...context.getImageData(
      Math.floor(x * canvas.width), Math.floor(y * canvas.height), 1, 1).data.subarray(0, 3)]);
  }, places);
}

function assertNear(actual, expected, tolerance) {
  const far = actual.some((value, index) => Math.abs(value - expected[index]) > tolerance);
  assert.ok(!far, `${actual} is not ${expected}`);
}

test('draws one picture at a time, and of a backlog only the newest', options, async () => {
  await withPage(tools, { setup: watchDecoder }, async (page) => {
    const connection = await start(page, computer);
    connection.send(type.params, landscape.params);
    for (const [index, frame] of landscape.frames.entries()) {
      connection.send(type.frame, frame);
      await decodedAll(page, index + 1);
    }
    const before = await decoderLog(page);
    assert.equal(before.draws, landscape.frames.length);
    await page.clock.resume();
    // Sent at once they wait in the decoder together, as before a page whose drawing is too slow.
    const again = 50;
    for (let i = 0; i < again; i++) connection.sendStream(landscape);
    await decodedAll(page, before.outputs + again * landscape.frames.length);
    const { draws } = await decoderLog(page);
    assert.ok(draws > before.draws, 'the newest is drawn');
    assert.ok(draws < before.draws + again * landscape.frames.length, 'not every one is drawn');
    connection.send(type.probe, Buffer.alloc(4));
    const decodeTime = (await connection.next()).readUInt16BE(5);
    assert.ok(decodeTime > 0 && decodeTime < 20000, 'within two seconds');
  });
});

// Makes drawing slow, and notes which pixels are put there instead. With `refused` the browser does
// not hand them out.
function slowDrawing(refused) {
  const { drawImage, putImageData } = CanvasRenderingContext2D.prototype;
  globalThis.puts = [];
  CanvasRenderingContext2D.prototype.drawImage = function (...parameters) {
    for (const end = performance.now() + 50; performance.now() < end;);
    return drawImage.apply(this, parameters);
  };
  CanvasRenderingContext2D.prototype.putImageData = function (...parameters) {
    const [{ width, height }, x, y] = parameters;
    globalThis.puts.push([x, y, width, height]);
    return putImageData.apply(this, parameters);
  };
  if (!refused) return;
  VideoFrame.prototype.copyTo = () => new Promise((_, reject) => {
    setTimeout(reject, 300, new TypeError('test'));
  });
}

// Waits until the clip's white box is shown where one of its frames has it. The test's own time-out
// ends the waiting.
async function boxShown(page, frame) {
  const box = [(16 * frame + 24) / landscape.width, 0.5];
  let pixel;
  do [pixel] = await colours(page, [box]); while (pixel.some((value) => value <= 240));
}

test('asks for the pixels where drawing is slow, and still ends with the newest', options, async () => {
  const last = landscape.frames.length - 1;
  await withPage(tools, { setup: slowDrawing }, async (page) => {
    await page.clock.resume();
    const connection = await start(page, computer);
    await show(page, connection, portrait);
    for (let i = 0; i < 5; i++) connection.sendStream(landscape);
    await page.waitForFunction(() => globalThis.puts.length > 0, null, { polling: 20 });
    await boxShown(page, last);
    const [red, , blue] = await colours(page, [[0.25, 0.1], [0.75, 0.1], [0.25, 0.9]]);
    assertNear(red, [0xe0, 0, 0], 12);
    assertNear(blue, [0, 0, 0xe0], 12);

    // Frames that say where they changed are copied there alone, all of their changes together.
    await show(page, connection, portrait);  // and nothing older is on its way
    await show(page, connection, { ...landscape, frames: landscape.frames.slice(0, 1) });
    await boxShown(page, 0);
    await page.evaluate(() => { globalThis.puts = []; });
    for (const [i, frame] of landscape.frames.slice(1).entries()) {
      connection.send(type.frame, noted(frame, i, 11, 4, 3));
    }
    await boxShown(page, last);
    const [left] = await colours(page, [[8 / landscape.width, 0.47]]);
    assertNear(left, [0xe0, 0, 0], 12);
    const puts = await page.evaluate(() => globalThis.puts);
    assert.ok(puts.length > 0 && puts.every(([, y, , height]) => y === 176 && height === 48),
      JSON.stringify(puts));
  });
  await withPage(tools, { setup: slowDrawing, argument: true }, async (page) => {
    await page.clock.resume();
    const connection = await start(page, computer);
    await show(page, connection, portrait);
    connection.sendStream(landscape);
    await boxShown(page, last);
  });
});

test('configures the decoder once for each new configuration', options, async () => {
  await withPage(tools, { setup: watchDecoder }, async (page) => {
    const connection = await start(page, computer);
    await show(page, connection, landscape);
    connection.sendStream(landscape);
    await decodedAll(page, 2 * landscape.frames.length);
    const { configured } = await decoderLog(page);
    assert.equal(configured.length, 1);
    assert.equal(configured[0].optimizeForLatency, true);

    // A new configuration waits for a key frame, the connection after this one for both.
    connection.sendStream({ params: portrait.params, frames: portrait.frames.slice(1) });
    await connection.drain();
    assert.equal((await decoderLog(page)).decoded.length, 2 * landscape.frames.length);
    await show(page, connection, { ...portrait, frames: portrait.frames.slice(0, 1) });
    connection.socket.terminate();
    await page.waitForFunction(() => !document.getElementById('msg').hidden, null, { polling: 20 });
    const second = await start(page, computer);
    const { decoded } = await decoderLog(page);
    second.send(type.frame, portrait.frames[0]);
    second.send(type.params, portrait.params);
    second.send(type.frame, portrait.frames[1]);
    await second.drain();
    assert.deepEqual((await decoderLog(page)).decoded, decoded);
    await show(page, second, portrait);
  });
});

test('loses no frame while it learns how to decode', options, async () => {
  const cases = [
    ['says no, or nothing was asked before', undefined, ['no-preference']],
    ['answers late', 'late', ['no-preference']],
    ['cannot be asked', 'rejects', ['no-preference']],
    ['refuses when configured', 'throws', ['prefer-hardware', 'no-preference']],
    ['breaks when used', 'breaks', ['prefer-hardware', 'no-preference']],
  ];
  for (const [what, behaviour, preferences] of cases) {
    await withPage(tools, { setup: watchDecoder, argument: behaviour }, async (page) => {
      const connection = await start(page, computer);
      connection.sendStream(landscape);
      await connection.drain();
      if (behaviour === 'late') {
        connection.send(type.params, landscape.params);
        await connection.drain();
        assert.equal((await decoderLog(page)).decoded.length, 0);
        await page.evaluate(() => globalThis.answer());
      }
      if (behaviour === 'breaks') await page.clock.runFor(1);
      await decodedAll(page, landscape.frames.length);
      const { configured, outputs } = await decoderLog(page);
      assert.equal(outputs, landscape.frames.length, what);
      assert.deepEqual(configured.map((config) => config.hardwareAcceleration), preferences, what);

      // What was learnt holds for the rest of the page's life.
      connection.socket.terminate();
      await page.waitForFunction(() => !document.getElementById('msg').hidden, null,
        { polling: 20 });
      const second = await start(page, computer);
      await show(page, second, landscape);
      const later = (await decoderLog(page)).configured.slice(preferences.length);
      assert.deepEqual(later.map((config) => config.hardwareAcceleration),
        preferences.slice(-1), what);
    });
  }
});

test('keeps a bounded number of frames for a decoder that is not there yet', options, async () => {
  await withPage(tools, { setup: watchDecoder, argument: 'late' }, async (page) => {
    const connection = await start(page, computer);
    connection.send(type.params, landscape.params);
    connection.send(type.frame, landscape.frames[0]);
    for (let i = 0; i < 500; i++) connection.send(type.frame, landscape.frames[1]);
    await connection.drain();
    await page.evaluate(() => globalThis.answer());
    await connection.drain();
    assert.equal((await decoderLog(page)).decoded.length, 0);
    await show(page, connection, landscape);
    assert.deepEqual((await decoderLog(page)).decoded.slice(0, 2), ['key', 'delta']);
  });
});

test('recovers from a decoder error at the next key frame', options, async () => {
  await withPage(tools, { setup: watchDecoder }, async (page) => {
    const connection = await start(page, computer);
    await show(page, connection, landscape);
    await decodedAll(page, landscape.frames.length);
    await page.evaluate(() => globalThis.decoderLog.instances.at(-1).fail(new Error('broken')));
    for (const frame of landscape.frames) connection.send(type.frame, frame);
    await connection.drain();
    assert.equal((await decoderLog(page)).decoded.length, landscape.frames.length);
    connection.sendStream(landscape);
    await decodedAll(page, 2 * landscape.frames.length);

    // Taken away while hidden, with nobody to send a key frame for a still picture.
    await page.evaluate(() => {
      globalThis.decoderLog.instances.at(-1).fail(new DOMException('', 'QuotaExceededError'));
      document.dispatchEvent(new Event('visibilitychange'));
    });
    await connection.closed;
    await show(page, await greeted(computer), landscape);
  });
});

test('no junk disturbs the picture', options, async () => {
  await withPage(tools, { setup: watchDecoder }, async (page) => {
    const connection = await start(page, computer);
    const junk = (kinds, ...payloads) => {
      for (const kind of kinds) for (const payload of payloads) {
        connection.send(kind, Buffer.from(payload, 'hex'));
      }
    };
    const everything = async () => {
      connection.sendRaw('');
      connection.sendRaw('not JSON');
      connection.sendRaw(Buffer.alloc(0));
      junk([0, 3, 5, 10, 12, 77, 255], '', 'ff'.repeat(40));
      junk([type.params], '', '00', 'ffff', '0001670001', '000467640001', '00046764001e0009aa');
      junk([type.frame], '', '00', '00000001', 'ffffffff65', '0000000000000000', '000000016');
      junk([type.cursorPos, type.cursorShape], '', '00', '0000000000', '0000000000000000ffff');
      junk([type.probe], '', '00', '000000');
      for (const text of ['', '{', 'null', '7', '[]', '"on"', '{"on":1}']) {
        connection.send(type.textFocus, Buffer.from(text));
      }
      assert.deepEqual(await connection.drain(), []);
    };
    await everything();
    await show(page, connection, landscape);
    await decodedAll(page, landscape.frames.length);
    await everything();
    assert.equal(await page.locator('#kb').isVisible(), false);
    assert.equal(await panelLines(page), null);
    connection.sendStream(landscape);
    await decodedAll(page, 2 * landscape.frames.length);

    // Well-formed, but no decoder can make a picture of it: its error may come before or after the
    // next configuration, and harms it in neither case.
    const nonsense = Buffer.from('00046764001e000168', 'hex');
    for (const next of [portrait, landscape, portrait]) {
      connection.sendStream({ params: nonsense, frames: [Buffer.from('0000000265ff', 'hex')] });
      if (next === landscape) await page.evaluate(() => new Promise((resolve) => {
        globalThis.decoderLog.instances.at(-1).flush().then(resolve, resolve);
      }));
      await show(page, connection, next);
    }
  });
});
