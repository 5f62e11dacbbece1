// Two computers and a cable between them for all tests of a file: `main` lends itself the screen of
// `screen`, which has a second monitor to the left of the one that it lends.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';

import { Application, missing as missingApplication } from '../support/application.mjs';
import { testScript } from '../support/desktop.mjs';
import { Dialogue, patience, waitFor } from '../support/programs.mjs';
import { awaitColours, expectNextColour, isNear } from '../support/testCard.mjs';
import { X11Desktop } from '../support/x11Desktop.mjs';
import { Host, missing as missingHost } from './host.mjs';
import { Network } from './network.mjs';

export const size = { width: 1024, height: 768 };
const sideMonitor = { x: 0, y: 0, width: 800, height: 600 };
const lentMonitor = { x: sideMonitor.width, y: 0, ...size };
const homeWidth = 500;  // pixels
const reach = 40;      // pixels around a place where the pointer is looked for
const tolerance = 36;  // of 255, each component: beyond what coding costs

const missing = missingHost || X11Desktop.missing || missingApplication;
if (missing) console.log(`SKIPPED: ${missing}`);

// `skip` says why this one test cannot run here, false when it can.
export function testHosts(name, body, skip = false) {
  if (skip && !missing) console.log(`Not tested, "${name}": ${skip}`);
  test(name, { skip: missing || skip, timeout: 120_000 * patience }, body);
}

class ScreenComputer extends Host {
  #reader;

  // The colours ('rrggbb') of an area of its monitors, row by row.
  async look({ x, y, width = 1, height = 1 }) {
    this.#reader ??= new Dialogue(this.desktop.launch(testScript('read_screen'), [],
      { input: 'pipe' }));
    return (await this.#reader.ask(`${width}x${height}+${x}+${y}`)).match(/.{6}/g);
  }

  async useTwoMonitors() {
    const { width, height } = sideMonitor;
    await this.desktop.run('xrandr', ['--newmode', 'side', '40', `${width}`, '840', '968', '1056',
      `${height}`, '601', '605', '628']);
    await this.desktop.run('xrandr', ['--addmode', 'DUMMY1', 'side']);
    // A saver that covers everything after a second, unless something keeps the display awake.
    await this.desktop.run('xset', ['s', '1', '1', 's', 'noblank']);
    await this.desktop.run('xrandr', ['--output', 'DUMMY1', '--mode', 'side', '--pos', '0x0',
      '--output', this.desktop.ownMonitor.output, '--primary', '--pos', `${width}x0`]);
  }

  // Waits until the colour at each place of the lent monitor is right.
  awaitColours(...wanted) {
    return awaitColours((places) => Promise.all(places.map(async ({ x, y }) => (
      (await this.look({ x: lentMonitor.x + x, y: lentMonitor.y + y }))[0]))),
      wanted, { seconds: 30, every: 20 });
  }

  // The middle of what is drawn near a place on a white picture, nothing when there is nothing.
  async drawnAt(x, y) {
    const area = { x: x - reach, y: y - reach, width: 2 * reach, height: 2 * reach };
    const seen = await this.look({ ...area, x: lentMonitor.x + area.x });
    const dark = [...seen.keys()].filter((at) => !isNear(seen[at], 'ffffff', tolerance));
    if (dark.length === 0) return null;
    const columns = dark.map((at) => at % area.width);
    const middle = (places) => (Math.min(...places) + Math.max(...places)) / 2;
    return { x: area.x + middle(columns), y: area.y + middle([dark[0], dark.at(-1)]
      .map((at) => Math.floor(at / area.width))) };
  }

  // Waits for the home window, and for nothing that covers the monitor.
  awaitHome() {
    return waitFor('the home window', async () => {
      const windows = await this.#windows();
      return windows.some(({ width }) => width === homeWidth) &&
        !windows.some(({ width, height }) => width === size.width && height === size.height);
    });
  }

  awaitFullScreen() {
    return waitFor('the full-screen window', async () => (
      (await this.#windows()).some(({ x, y, width, height }) => (
        x === lentMonitor.x && y === lentMonitor.y && width === size.width &&
        height === size.height))));
  }

  async stop() {
    await this.#reader?.close();
    await super.stop();
  }

  async #windows() {
    const ids = await this.desktop.run('xdotool', ['search', '--onlyvisible', '--pid',
      `${this.application.processID}`]).catch(() => '');
    return Promise.all(ids.split('\n').filter(Boolean).map(async (id) => {
      const shell = await this.desktop.run('xdotool', ['getwindowgeometry', '--shell', id]);
      const value = (name) => Number(new RegExp(`^${name}=(.*)$`, 'm').exec(shell)[1]);
      return { x: value('X'), y: value('Y'), width: value('WIDTH'), height: value('HEIGHT') };
    }));
  }
}

export function useHosts() {
  const tools = { network: new Network(), main: new Host('desk'),
                  screen: new ScreenComputer('living-room') };
  const { network, main, screen } = tools;

  tools.status = () => main.application.status();

  // Waits until the main computer's picture is shown by the other one, and proves it.
  tools.awaitPicture = async () => {
    await waitFor('an extra monitor', async () => {
      [tools.monitor] = await main.desktop.extraMonitors();
      return tools.monitor?.width === size.width && tools.monitor.height === size.height;
    }, { seconds: 40 });
    await tools.expectPicture();
  };

  tools.expectPicture = () => expectNextColour(main.desktop, tools.monitor, screen);

  if (missing) return tools;
  before(async () => {
    await network.start();
    await Promise.all([main.start(network, '1280x800'),
                       screen.start(network, `${size.width}x${size.height}`)]);
    await screen.useTwoMonitors();
    main.application = new Application(main.desktop, 'user');
    screen.application = new Application(screen.desktop, 'user', { mode: 'screen' });
    await Promise.all([main.application.start(), screen.application.start()]);
  });
  afterEach((context) => {
    if (!context.error) return;
    for (const { name, application } of [main, screen]) {
      console.error(`--- ${name}:\n${application?.log}`);
    }
  });
  after(async () => {
    try {
      for (const { name, application } of [main, screen]) {
        if (application) assert.equal(await application.end('SIGTERM'), 0, `the end of ${name}`);
      }
    } finally {
      await Promise.allSettled([main.stop(), screen.stop()]);
      await network.stop();
    }
  });
  return tools;
}
