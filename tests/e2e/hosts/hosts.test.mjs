// A second computer as the extra screen, over a network, from its discovery to all that can happen
// to the cable. The tests go on where the one before ended.
import assert from 'node:assert/strict';
import { fileURLToPath } from 'node:url';
import { isDeepStrictEqual } from 'node:util';

import { Application } from '../support/application.mjs';
import { pause, residentKiB, run, see, waitFor } from '../support/programs.mjs';
import { expectPointer, testCard } from '../support/testCard.mjs';
import { size, testHosts, useHosts } from './harness.mjs';
import { slowCableMissing } from './network.mjs';

const tools = useHosts();
const { main, network, screen } = tools;

const personThinks = 10_000;    // ms until the question is answered
const cableIsOut = 10_000;      // ms
const returnsAfter = 2000;      // ms that the main role waits after a plain end
const timerSlack = 300;         // ms between an end and its being seen
const staysStopped = 3500;      // ms, longer than any automatic return
const slow = { rate: 20, delay: 20, loss: 1 };
const slowestChange = 1000;     // ms to the other screen, over the slow cable, everything moving
const mayGrow = 32 * 1024;      // KiB

const computers = async () => (await tools.status()).computers;
// Which starts on the last screen, or stops.
const pressHotKey = () => main.desktop.run('xdotool', ['key', 'ctrl+alt+super+s']);

testHosts('a computer is found, asked about once, shown, left with Esc, and comes back', async () => {
  await screen.awaitHome();
  await waitFor('the discovery of the screen', async () => (
    (await computers()).includes(screen.name)));
  assert.match(await main.application.control('screens'), new RegExp(`^${screen.name}$`, 'm'));

  await main.application.control('start', screen.name);
  await waitFor('the question', async () => (await tools.status()).pending.length === 1);
  await screen.awaitFullScreen();
  // Whoever waits for a person is not silent: the screen does not give up.
  for (const end = performance.now() + personThinks; performance.now() < end; await pause(500)) {
    const { pending, status } = await tools.status();
    assert.equal(pending.length, 1);
    assert.equal(status, `Connecting to ${screen.name}…`);
  }
  assert.deepEqual(await main.desktop.extraMonitors(), []);
  await screen.awaitFullScreen();
  await main.application.control('allow');

  await tools.awaitPicture();
  assert.equal((await tools.status()).status, `Live on ${screen.name}`);
  await expectTestCard();
  await expectPointerOverAll();

  await screen.desktop.run('xdotool', ['key', 'Escape']);
  await main.desktop.awaitExtraMonitors();
  const ended = performance.now();
  await screen.awaitHome();
  await tools.awaitPicture();
  assert.ok(performance.now() - ended > returnsAfter - timerSlack, 'it came back too early');
  assert.deepEqual((await tools.status()).pending, []);

  await main.application.control('stop');
  await main.desktop.awaitExtraMonitors();
  await screen.awaitHome();
  await pause(staysStopped);
  assert.deepEqual((await tools.status()).screens, []);
});

async function expectTestCard() {
  const { areas, places } = testCard(tools.monitor);
  const beside = await screen.look({ x: 400, y: 300 });
  await main.desktop.clearPaint();
  await main.desktop.paint(tools.monitor, ...areas);
  await screen.awaitColours(...places);
  assert.deepEqual(await screen.look({ x: 400, y: 300 }), beside, 'its other monitor changed');
}

async function expectPointerOverAll() {
  const { monitor } = tools;
  await main.desktop.clearPaint();
  await main.desktop.fill(monitor, 'ffffff');
  for (const [x, y] of [[300, 200], [700, 500], [520, 60]]) {
    await main.desktop.movePointer(monitor, x, y);
    await expectPointer(() => screen.drawnAt(x, y), x, y);
  }
  await main.desktop.movePointer(main.desktop.ownMonitor, 100, 100);
  await waitFor('the pointer to leave', async () => (
    await screen.drawnAt(520, 60) === null));
}

testHosts('a second screen on one computer says why it waits in vain', async () => {
  const beside = new Application(screen.desktop, 'beside', { mode: 'screen' });
  await beside.start();
  await waitFor('the reason', async () => (
    /uses port 7777/.test(await beside.control('status'))));
  assert.equal(await beside.end('SIGTERM'), 0);
});

testHosts('a cable that is out for ten seconds costs the picture for little longer', async () => {
  // Whatever is locked, and wherever the layout has the letter by now.
  await main.desktop.run('xdotool', ['key', 'Num_Lock', 'Caps_Lock']);
  await main.desktop.run('xmodmap', ['-e', 'keysym s = NoSymbol', '-e', 'keysym F12 = s S']);
  await pressHotKey();
  await tools.awaitPicture();
  await network.pull(screen.port);
  const pulled = performance.now();
  await screen.awaitHome();  // nothing has come for four seconds
  await pause(cableIsOut - (performance.now() - pulled));
  await network.plugIn(screen.port);
  await screen.awaitFullScreen();
  await tools.awaitPicture();
});

testHosts('a slow cable costs frames, not the picture and not much time', async () => {
  await network.slowDown(screen.port, slow);
  const { monitor } = tools;
  const place = { x: 940, y: 700 };
  const mark = { x: place.x - 30, y: place.y - 30, width: 60, height: 60, colour: 'ffffff' };
  let moving = true;
  const motion = (async () => {
    for (let step = 0; moving; ++step) {
      if (step % 8 === 0) await main.desktop.clearPaint();
      const areas = Array.from({ length: 150 }, () => randomArea(monitor));
      await main.desktop.paint(monitor, ...areas, mark);
    }
  })();
  const took = [];
  try {
    for (const colour of Array(4).fill(['d02020', '20a040', '3060c0', 'e0c020']).flat()) {
      const since = performance.now();
      mark.colour = colour;
      await screen.awaitColours({ ...place, colour });
      took.push(performance.now() - since);
      await pause(100);
    }
  } finally {
    moving = false;
    await motion;
  }
  await tools.expectPicture();
  await network.restoreSpeed(screen.port);
  const told = `changes took ${took.map(Math.round)} ms`;
  assert.ok(Math.min(...took) > slow.delay, `the cable is not slow: ${told}`);
  assert.ok(Math.max(...took) < slowestChange, told);
}, slowCableMissing);

function randomArea({ width, height }) {
  const random = (most) => Math.floor(Math.random() * most);
  return { x: random(width - 250), y: random(height - 250), width: 20 + random(100),
           height: 20 + random(100), colour: random(1 << 24).toString(16).padStart(6, '0') };
}

const expectComputers = (...names) => see('the list of screens', computers,
  (seen) => isDeepStrictEqual(seen, names.sort()));

testHosts('a name service that dies on both sides disturbs no picture, and discovery returns',
  async () => {
    await Promise.all([main.killServices(), screen.killServices()]);
    await expectComputers();
    await main.startServices();
    const other = main.offer(screen.name, 9);
    await expectComputers(screen.name);
    await tools.expectPicture();
    await screen.startServices();
    await expectComputers(screen.name, `${screen.name} #2`);
    await other.kill('SIGTERM');
    // What Avahi remembers of one that was killed, it would show for a long time.
    await Promise.all([main.killServices(), screen.killServices()]);
    await Promise.all([main.startServices(), screen.startServices()]);
    await expectComputers(screen.name);
    await tools.expectPicture();
  });

testHosts('screens are found whatever their names, and reached where addresses are of a link only',
  async () => {
    await pressHotKey();
    await main.desktop.awaitExtraMonitors();
    const names = ['Anna\'s "Büro" 2.0 \\ März', '显示器 🖥', 'é'.repeat(31)];
    const offers = names.map((name) => screen.offer(name, 7777));
    await expectComputers(screen.name, ...names);
    for (const name of names) {
      await main.application.control('start', name);
      await see('the status', async () => (await tools.status()).status,
        (status) => status === `Live on ${name}`);
    }
    await Promise.all(offers.map((offer) => offer.kill('SIGTERM')));
    await expectComputers(screen.name);
    await main.application.control('stop');
    await main.desktop.awaitExtraMonitors();
    await screen.sh('ip -4 address flush dev lan0');
    await main.application.control('start', screen.name);
    await tools.awaitPicture();
    await screen.sh(`ip address add ${screen.address}/24 dev lan0`);
  });

testHosts('strangers at the ports of a screen cost neither the picture for long nor memory',
  async () => {
    const before = residentKiB(screen.application.processID);
    const script = fileURLToPath(new URL('strangers.mjs', import.meta.url));
    await run(process.execPath, [script, screen.address], { within: network.within });
    await tools.awaitPicture();
    const grown = residentKiB(screen.application.processID) - before;
    assert.ok(grown < mayGrow, `the screen grew by ${grown} KiB`);
    await pressHotKey();
    await main.desktop.awaitExtraMonitors();
    await screen.awaitHome();
  });

testHosts('a name service that hangs holds up neither the application nor its end', async () => {
  main.hangAvahi();
  await main.application.control('start', screen.name);
  assert.match((await tools.status()).status, /^Connecting/);
  await main.application.control('stop');
});
