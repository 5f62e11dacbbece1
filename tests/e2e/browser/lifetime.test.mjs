// Ends and beginnings: the application killed, stopped and started twice, and its display taken.
import assert from 'node:assert/strict';

import { Application } from '../support/application.mjs';
import { waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { has, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const size = { width: 800, height: 600 };
const otherSize = { width: 640, height: 480 };

async function expectColour(visitor, colour) {
  await tools.desktop.clearPaint();
  await tools.desktop.fill(visitor.monitor, colour);
  await visitor.awaitColours({ x: 10, y: 10, colour }, { x: 600, y: 400, colour });
}

testApplication('after a kill and a new start the page comes back, and nothing is left', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  await expectColour(visitor, '20a040');
  assert.equal(await application.end('SIGKILL'), 'SIGKILL');
  await visitor.awaitPanel('Waiting for your Mac');
  // Where the display outlives its application, the next run is to notice that it is nobody's.
  if (has('orphanDisplays')) assert.equal((await desktop.extraMonitors()).length, 1);
  else await desktop.awaitExtraMonitors();

  await application.start();
  await visitor.awaitPicture(size);
  [visitor.monitor] = await desktop.awaitExtraMonitors(size);
  if (has('orphanDisplays')) assert.match(application.log, /removed 1 display/);
  await expectColour(visitor, 'd02020');
});

const endings = {
  SIGTERM: () => tools.application.end('SIGTERM'),
  'tessalinectl quit': async () => {
    await tools.application.control('quit');
    return tools.application.ending();
  },
};
for (const [name, end] of Object.entries(endings)) {
  testApplication(`${name} says goodbye: only a page with "auto" comes back by itself`, async () => {
    const { application, desktop } = tools;
    const tapped = await tools.becomeScreen(size);
    const automatic = await tools.becomeScreen(otherSize,
      { link: application.link.replace('/#', '/?auto=1#') });
    assert.equal(await end(), 0);
    assert.deepEqual(await desktop.extraMonitors(), [], 'no display outlives an orderly end');
    for (const { connection } of [tapped, automatic]) {
      await waitFor('the goodbye', () => connection.counts[type.bye] === 1);
    }
    await tapped.awaitPanel('Tap to start');
    await automatic.awaitPanel('Waiting for your Mac');

    // What the automatic page does within its time, the tapped one has had the time to do.
    await application.start();
    await automatic.awaitPicture(otherSize);
    assert.equal(await tapped.panel(), 'Tap to start');
    assert.equal(tapped.connections.length, 1);
    await tapped.tap();
    await tapped.awaitPicture(size);
    await desktop.awaitExtraMonitors(size, otherSize);
  });
}

testApplication('a display that is switched off ends its session, and the page gets another', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const other = await tools.becomeScreen(otherSize);
  const first = visitor.connection;
  await desktop.switchOff(visitor.monitor);
  await waitFor('the end of the connection', () => !first.open);
  await waitFor('a new connection', () => visitor.connections.length === 2);
  await visitor.awaitPicture(size);
  [visitor.monitor, other.monitor] = await desktop.awaitExtraMonitors(size, otherSize);
  await expectColour(visitor, '3060c0');
  await expectColour(other, 'e0c020');
  assert.equal(other.connections.length, 1, 'the other display was disturbed');
  assert.match(application.log, /capture stopped/);
}, { needs: 'monitorSwitch' });

testApplication('a second start leaves at once; another configuration runs beside the first', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const second = application.launchAnother();
  assert.equal(await second.ending(), 0, second.errors);

  const beside = new Application(desktop, 'beside');
  await beside.start();
  try {
    const complaints = () => beside.log.split('\n').filter((line) => /779[01]/.test(line));
    await waitFor('a line about each port', () => complaints().length >= 2);
    assert.equal(complaints().length, 2, beside.log);
    assert.ok(application.running);
    assert.equal((await beside.status()).screens.length, 0);
    assert.equal((await application.status()).screens.length, 1);
    // What one removes at its start and at its end is never the other's.
    assert.equal((await desktop.extraMonitors()).length, 1);
  } finally {
    assert.equal(await beside.end('SIGTERM'), 0);
  }
  await expectColour(visitor, '20a040');
  assert.equal(visitor.connections.length, 1);
});
