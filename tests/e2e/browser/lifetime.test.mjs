// Ends and beginnings: the application killed, stopped and started twice, and its display taken.
import assert from 'node:assert/strict';
import { isDeepStrictEqual } from 'node:util';

import { Application } from '../support/application.mjs';
import { see, waitFor } from '../support/programs.mjs';
import { expectNextColour } from '../support/testCard.mjs';
import { type } from '../support/visitor.mjs';
import { has, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const size = { width: 800, height: 600 };
const otherSize = { width: 640, height: 480 };

const expectPicture = (visitor) => expectNextColour(tools.desktop, visitor.monitor, visitor);

testApplication('after a kill and a new start the page comes back, and nothing is left', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  await expectPicture(visitor);
  assert.equal(await application.end('SIGKILL'), 'SIGKILL');
  await visitor.awaitPanel('Waiting for your Mac');
  // Where the display outlives its application, the next run is to notice that it is nobody's.
  if (has('orphanDisplays')) assert.equal((await desktop.extraMonitors()).length, 1);
  else await desktop.awaitExtraMonitors();

  await application.start();
  await visitor.awaitPicture(size);
  [visitor.monitor] = await desktop.awaitExtraMonitors(size);
  if (has('orphanDisplays')) assert.match(application.log, /removed 1 display/);
  await expectPicture(visitor);
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
  await expectPicture(visitor);
  await expectPicture(other);
  assert.equal(other.connections.length, 1, 'the other display was disturbed');
  assert.match(application.log, /capture stopped/);
}, { needs: 'monitorSwitch' });

testApplication('an extra display comes back to where its user put it', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const comeBack = async () => {
    await visitor.openPage(application.link);
    await visitor.tap();
    await visitor.awaitPicture(size);
    [visitor.monitor] = await desktop.extraMonitors();
  };
  await visitor.page.close();
  await desktop.awaitExtraMonitors();
  assert.equal(application.storedDefaults.arrangement, undefined, 'nothing was chosen');
  await comeBack();
  const first = `${desktop.ownMonitor.width}x${desktop.ownMonitor.height}+`;
  const places = async () => (await desktop.monitors()).map(({ width, height, x, y }) => (
    `${width}x${height}+${x}+${y}`)).sort();
  const expectPlaces = async (...wanted) => see('the places of the monitors', places,
    (seen) => isDeepStrictEqual(seen, wanted.sort()));
  await expectPlaces(`${first}0+0`, `800x600+${desktop.ownMonitor.width}+0`);
  await desktop.run('xrandr', ['--output', desktop.ownMonitor.output, '--pos', '800x0',
    '--output', visitor.monitor.output, '--pos', '0x100']);
  // Not moved the second time, it is still remembered.
  for (let round = 0; round < 2; ++round) {
    await expectPlaces(`${first}800+0`, '800x600+0+100');
    await visitor.page.close();
    await expectPlaces(`${first}0+0`);
    await comeBack();
  }
}, { needs: 'monitorPlaces' });

testApplication('switching the role forgets it and ends in order; a new process asks', async () => {
  const { application, desktop } = tools;
  await tools.becomeScreen(size);
  await application.control('switch-mode');
  await waitFor('the new process', async () => (await application.status()).role === 'none');
  assert.deepEqual(await desktop.extraMonitors(), []);
  const { mode, onboarded, approvedDevices } = application.storedDefaults;
  assert.deepEqual([mode, onboarded, Object.keys(approvedDevices).length > 0],
    [undefined, undefined, true]);
  await application.control('quit');
  assert.equal(await application.ending(), 0);
  application.storedDefaults = { mode: 'main', onboarded: true, approvedDevices };
});

testApplication('where no desktop serves, the application runs and says so', async () => {
  const lost = new Application(tools.desktop, 'lost',
    { mode: 'main', onboarded: true, desktop: 'elsewhere' });
  await lost.start();
  assert.match((await lost.status()).status, /cannot have extra screens/);
  assert.equal(await lost.end('SIGTERM'), 0);
});

testApplication('a second start leaves at once; another configuration runs beside the first', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const second = application.launch();
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
  await expectPicture(visitor);
  assert.equal(visitor.connections.length, 1);
});
