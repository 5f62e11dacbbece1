// Two computers and a cable between them for all tests of a file: `main` lends itself the screen of
// `screen`, which has a second monitor to the left of the one that it lends.
import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { after, afterEach, before, test } from 'node:test';

import { Application, missing as missingApplication } from '../support/application.mjs';
import { Dialogue, patience, waitFor } from '../support/programs.mjs';
import { isNear } from '../support/testCard.mjs';
import { X11Desktop } from '../support/x11Desktop.mjs';
import { Host, missing as missingHost } from './host.mjs';
import { Network } from './network.mjs';

export const size = { width: 1024, height: 768 };
const sideMonitor = { x: 0, y: 0, width: 800, height: 600 };
const lentMonitor = { x: sideMonitor.width, y: 0, ...size };
const homeWidth = 500;  // pixels
const tolerance = 36;  // of 255, each component: beyond what coding costs

const readScreen = process.env.TESSALINE_READ_SCREEN ?? '';
const missing = missingHost || X11Desktop.missing || missingApplication ||
  (existsSync(readScreen) ? false : 'TESSALINE_READ_SCREEN does not name the program read_screen');
if (missing) console.log(`SKIPPED: ${missing}`);

// `skip` says why this one test cannot run here, false when it can.
export function testHosts(name, body, skip = false) {
  if (skip && !missing) console.log(`Not tested, "${name}": ${skip}`);
  test(name, { skip: missing || skip, timeout: 120_000 * patience }, body);
}

class Computer extends Host {
  async startApplication(defaults) {
    this.application = new Application(this.desktop, 'user', defaults);
    await this.application.start();
  }
}

class ScreenComputer extends Computer {
  #reader;

  // What its monitors show: see ReadScreen.cpp for the questions.
  look(question) {
    this.#reader ??= new Dialogue(this.desktop.launch(readScreen, [], { input: 'pipe' }));
    return this.#reader.ask(question);
  }

  // The colour at a place of the lent monitor.
  colourAt({ x, y }) {
    return this.look(`at ${lentMonitor.x + x} ${lentMonitor.y + y}`);
  }

  async useTwoMonitors() {
    const { width, height } = sideMonitor;
    await this.desktop.run('xrandr', ['--newmode', 'side', '40', `${width}`, '840', '968', '1056',
      `${height}`, '601', '605', '628']);
    await this.desktop.run('xrandr', ['--addmode', 'DUMMY1', 'side']);
    await this.desktop.run('xrandr', ['--output', 'DUMMY1', '--mode', 'side', '--pos', '0x0',
      '--output', this.desktop.ownMonitor.output, '--primary', '--pos', `${width}x0`]);
  }

  // Waits until the colour ('rrggbb') at each place of the lent monitor is right.
  async awaitColours(...wanted) {
    const seen = [];
    await waitFor('', async () => {
      for (const [index, place] of wanted.entries()) seen[index] = await this.colourAt(place);
      return wanted.every(({ colour }, index) => isNear(seen[index], colour));
    }, { seconds: 30, every: 20 }).catch(() => {
      const line = ({ x, y, colour }, index) => `${x},${y}: ${seen[index]}, not ${colour}`;
      throw new Error(`the picture is wrong: ${wanted.map(line).join('; ')}`);
    });
  }

  // The middle of what is drawn near a place on a picture of one colour, nothing when there is
  // nothing.
  async drawnAt(x, y, colour) {
    const reach = 40;
    const answer = await this.look(`differing ${2 * reach}x${2 * reach}` +
      `+${lentMonitor.x + x - reach}+${lentMonitor.y + y - reach} ${colour} ${tolerance}`);
    if (answer === 'nothing') return null;
    const [left, top, right, bottom] = answer.split(' ').map(Number);
    return { x: (left + right) / 2 - lentMonitor.x, y: (top + bottom) / 2 - lentMonitor.y };
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
  const tools = { network: new Network(), main: new Computer('desk'),
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

  let turn = 0;
  tools.expectPicture = async () => {
    const colour = ['20a040', 'd02020', '3060c0', 'e0c020'][turn++ % 4];
    await main.desktop.clearPaint();
    await main.desktop.fill(tools.monitor, colour);
    await screen.awaitColours({ x: 20, y: 20, colour },
      { x: size.width - 20, y: size.height - 20, colour });
  };

  if (missing) return tools;
  before(async () => {
    await network.start();
    await Promise.all([main.start(network, '1280x800'),
                       screen.start(network, `${size.width}x${size.height}`)]);
    await screen.useTwoMonitors();
    await Promise.all([main.startApplication({ mode: 'main', onboarded: true }),
                       screen.startApplication({ mode: 'screen' })]);
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
