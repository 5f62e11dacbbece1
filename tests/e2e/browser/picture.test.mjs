// What a browser shows of its extra display: picture, pointer, and nothing where nothing changes.
import assert from 'node:assert/strict';

import { pause, waitFor } from '../support/programs.mjs';
import { expectPointer, testCard } from '../support/testCard.mjs';
import { type } from '../support/visitor.mjs';
import { has, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();

const stillTime = 2000;     // ms without a change that are looked at
const settledTime = 600;    // ms without a frame after which nothing is on its way any more

async function showTestCard(visitor) {
  const { areas, places } = testCard(visitor.monitor);
  await tools.desktop.paint(visitor.monitor, ...areas);
  await visitor.awaitColours(...places);
}

async function settle(visitor) {
  await waitFor('the end of all frames', () => (
    performance.now() - visitor.connection.lastFrame > settledTime));
}

for (const [name, size, deviceScaleFactor] of [
  ['an ordinary screen', { width: 1024, height: 640 }, 1],
  // Desktops refuse this scale to displays that it would leave too small for their windows.
  ['a screen with two pixels to a point', { width: 960, height: 540 }, 2],
]) {
  testApplication(`the picture has the right size, colours and orientation on ${name}`, async () => {
    const visitor = await tools.becomeScreen(size, { deviceScaleFactor });
    await showTestCard(visitor);
    const [screen] = (await tools.application.status()).screens;
    assert.equal(screen.streaming, true);
    assert.equal(screen.width, visitor.monitor.width);
    assert.equal(screen.height, visitor.monitor.height);
    if (!has('scales')) return;
    await waitFor(`a scale of ${deviceScaleFactor}`, async () => (
      (await tools.desktop.extraMonitors())[0].scale === deviceScaleFactor));
  });
}

// Coding and drawing are slow here: changes come faster than frames, and several in each.
testApplication('letters and windows that come leave the right picture', async () => {
  const visitor = await tools.becomeScreen({ width: 1920, height: 1080 });
  const [columns, rows, across, down] = [12, 12, 160, 90];
  const places = [];  // in each tile a letter's and another one
  for (let i = 0; i < columns * rows; i++) {
    const [x, y] = [i % columns * across, Math.floor(i / columns) * down];
    places.push({ x: x + 6, y: y + 10 }, { x: x + 40, y: y + 40 });
  }
  const paint = (area, colour) => {
    for (const place of places) {
      const [right, below] = [place.x - area.x, place.y - area.y];
      if (right >= 0 && below >= 0 && right < area.width && below < area.height) {
        place.colour = colour;
      }
    }
    return tools.desktop.paint(visitor.monitor, { ...area, colour });
  };
  await paint({ x: 0, y: 0, width: 1920, height: 1080 }, 'ffffff');
  const colours = ['d02020', '20a040', '3050d0', '808080', '000000'];
  const painting = [];
  for (let i = 0; i < 120; i++) {
    const [x, y] = [i * 5 % columns * across, i * 7 % rows * down];
    const size = i % 4 === 3
      ? { width: Math.min(3 * across, 1920 - x), height: Math.min(3 * down, 1080 - y) }
      : { width: 14, height: 22 };
    painting.push(paint({ x, y, ...size }, colours[i % colours.length]));
    if (i % 9 < 4) await Promise.all(painting.splice(0));
  }
  await Promise.all(painting);
  await visitor.awaitColours(...places);
});

testApplication('the pointer is drawn where it is, and only while it is on the display', async () => {
  const { desktop } = tools;
  const visitor = await tools.becomeScreen({ width: 1000, height: 600 });
  const { monitor } = visitor;
  await desktop.fill(monitor, 'ffffff');

  const expectAt = async (x, y, [left, top]) => {
    await desktop.movePointer(monitor, x, y);
    await expectPointer(async () => {
      const drawn = await visitor.pointer();
      return drawn?.visible > 10 && drawn;
    }, left + x, top + y);
  };
  await expectAt(300, 200, [0, 0]);
  await expectAt(999, 599, [0, 0]);
  await expectAt(0, 0, [0, 0]);
  // With bars above and below, which move the picture.
  await visitor.page.setViewportSize({ width: 1000, height: 700 });
  await expectAt(500, 300, [0, 50]);

  await desktop.movePointer(desktop.ownMonitor, 200, 200);
  await waitFor('the pointer to leave', async () => await visitor.pointer() === null);
  await expectAt(40, 500, [0, 50]);
});

testApplication('a still screen sends no frames, and a moving pointer does not either', async () => {
  const { desktop } = tools;
  const visitor = await tools.becomeScreen({ width: 1024, height: 640 });
  await showTestCard(visitor);
  const { connection, monitor } = visitor;
  await desktop.movePointer(monitor, 500, 300);
  await settle(visitor);
  const before = { ...connection.counts };

  await pause(stillTime);
  const frames = () => connection.counts[type.frame] - before[type.frame];
  assert.ok(frames() <= 1, `${frames()} frames of a still screen`);
  for (const x of [510, 520, 530]) await desktop.movePointer(monitor, x, 300);
  await waitFor('positions of the pointer', () => (
    connection.counts[type.cursorPos] > before[type.cursorPos]));
  assert.ok(frames() <= 1, `${frames()} frames of a moving pointer`);

  // Nothing has fallen asleep.
  await desktop.fill(monitor, '3060c0');
  await visitor.awaitColours({ x: 512, y: 320, colour: '3060c0' });
});

testApplication('a turned device gets a new display in its new size', async () => {
  const visitor = await tools.becomeScreen({ width: 800, height: 1200 });
  const first = visitor.connection;
  await visitor.page.setViewportSize({ width: 1200, height: 800 });
  await visitor.awaitPicture({ width: 1200, height: 800 });
  [visitor.monitor] = await tools.desktop.awaitExtraMonitors({ width: 1200, height: 800 });
  assert.equal(first.open, false);
  assert.equal(visitor.connections.length, 2);
  await showTestCard(visitor);
});

testApplication('three browsers are three displays, and one that leaves disturbs none', async () => {
  const { desktop } = tools;
  const sizes = [[800, 600], [640, 480], [500, 700]].map(([width, height]) => ({ width, height }));
  const visitors = [];
  for (const size of sizes) visitors.push(await tools.becomeScreen(size));
  await desktop.awaitExtraMonitors(...sizes);

  const expectColours = async (...colours) => {
    const shown = visitors.filter((_, index) => colours[index]);
    const wanted = colours.filter(Boolean);
    await desktop.clearPaint();
    await Promise.all(shown.map(({ monitor }, i) => desktop.fill(monitor, wanted[i])));
    await Promise.all(shown.map((visitor, i) => visitor.awaitColours(
      { x: 5, y: 5, colour: wanted[i] },
      { x: visitor.monitor.width - 5, y: visitor.monitor.height - 5, colour: wanted[i] })));
  };
  await expectColours('c02020', '20a040', '3050d0');
  await visitors[1].close();
  // A display may move when one to its left goes.
  [visitors[0].monitor, visitors[2].monitor] =
    await desktop.awaitExtraMonitors(sizes[0], sizes[2]);
  await expectColours('e0c020', null, '20c0c0');
  for (const stays of [visitors[0], visitors[2]]) {
    assert.equal(stays.connections.length, 1);
    assert.ok(stays.connection.open);
  }
});
