import { existsSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { openBrowser } from './browser.mjs';
import { Painter } from './painter.mjs';
import { runProgram, startProgram, stopProgram, waitFor } from './processes.mjs';

// The application on a computer, with a configuration of its own.
export class Application {
  static missing({ build }) {
    return ['tessaline', 'tessalinectl', 'painter'].map((name) => join(build, name))
      .filter((file) => !existsSync(file));
  }

  // `computer`: see startProgram; this one, unless given.
  constructor({ build, computer = {} }) {
    this.build = build;
    this.computer = computer;
  }

  // Resolves when it can be controlled.
  async launch(defaults) {
    this.folder = mkdtempSync(join(tmpdir(), 'tessaline-bench.'));
    this.environment = {
      XDG_CONFIG_HOME: join(this.folder, 'config'), XDG_DATA_HOME: join(this.folder, 'data'),
    };
    mkdirSync(join(this.environment.XDG_CONFIG_HOME, 'tessaline'), { recursive: true });
    writeFileSync(join(this.environment.XDG_CONFIG_HOME, 'tessaline', 'defaults.json'),
      JSON.stringify({ onboarded: true, ...defaults }));
    this.program = startProgram(join(this.build, 'tessaline'), [],
      { computer: this.computer, env: this.environment });
    return waitFor('the start of the application', async () => {
      this.checkRuns();
      const now = await this.status();
      return now.localLink || now.role === 'screen' ? now : null;
    });
  }

  monitors() {
    return Painter.monitors(join(this.build, 'painter'), this.computer);
  }

  // The monitor that was not there before.
  async addedMonitor(before) {
    const [added] = [...await this.monitors()].filter(([name]) => !before.has(name));
    if (!added) throw new Error('no monitor has been added to the desktop');
    return { name: added[0], bounds: added[1] };
  }

  control(...args) {
    return runProgram(join(this.build, 'tessalinectl'), args,
      { computer: this.computer, env: this.environment });
  }

  async status() {
    return JSON.parse(await this.control('status', '--json'));
  }

  // The device that asks to be an extra screen.
  async asking() {
    const { pending } = await waitFor('a question about a device', async () => {
      const now = await this.status();
      return now.pending.length ? now : null;
    });
    return pending[0];
  }

  get processId() {
    return this.program.child.pid;
  }

  checkRuns() {
    if (this.program.ended) throw new Error(`the application ended: ${this.log.trim()}`);
  }

  // What the application wrote to its log, as far as it is kept.
  get log() {
    return this.program?.errors ?? '';
  }

  // True when it ended as it should.
  async stop() {
    const reason = this.program ? await stopProgram(this.program) : 0;
    if (this.folder) rmSync(this.folder, { recursive: true, force: true });
    return reason === 0;
  }
}

// A browser that became an extra screen of the application the way a person's does: the page is
// tapped, the application asks, the device is allowed.
export class BrowserScreen {
  // `host` is the computer that the browser runs on when it is not the application's own.
  constructor(application, tell = () => {}, host = null) {
    this.application = application;
    this.computer = application.computer;
    this.tell = tell;
    this.host = host;
  }

  async start(size) {
    const before = await this.application.monitors();
    ({ browser: this.browser, page: this.page, watcher: this.watcher } =
      await this.#open(size));
    await this.page.locator('#msg').click();
    this.tell('A browser opened the link and was tapped.');
    const { device, question } = await this.application.asking();
    this.tell(`Tessaline asks: ${question}`);
    await this.application.control('allow', device);
    await waitFor('the first picture', () => this.page.evaluate(() => {
      const canvas = document.querySelector('canvas');
      const panel = document.querySelector('#msg');
      return canvas.width > 300 && getComputedStyle(panel).display === 'none';
    }));
    ({ name: this.monitor, bounds: this.bounds } = await this.application.addedMonitor(before));
  }

  async #open(size) {
    const { link, localLink } = await this.application.status();
    const address = this.host ? link : localLink;
    const opened = await openBrowser(size, this.host ? { within: this.host.within } : this.computer,
      this.host ? new URL(link).origin : '');
    await opened.page.goto(address);
    return opened;
  }

  processIds() {
    return [this.application.processId];
  }

  // Throws when the application has ended or the page no longer shows its picture.
  async check() {
    this.application.checkRuns();
    const panel = await this.page.locator('#msg').isVisible();
    if (panel) throw new Error(`the page says: ${await this.page.locator('#msg').innerText()}`);
  }

  photograph(file) {
    return this.page.screenshot({ path: file });
  }

  async stop() {
    await this.browser?.close();
  }
}
