import { existsSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { openBrowser } from './browser.mjs';
import { Painter } from './painter.mjs';
import { listens, runProgram, startProgram, stopProgram, waitFor } from './processes.mjs';

const pagePort = 7790;

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
  constructor(application, tell = () => {}) {
    this.application = application;
    this.computer = application.computer;
    this.tell = tell;
  }

  async start(size) {
    const before = await this.application.monitors();
    ({ browser: this.browser, page: this.page, watcher: this.watcher } =
      await openBrowser(size, this.computer));
    await this.page.goto((await this.application.status()).localLink);
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

// Both as one subject: an application of its own and a browser beside it.
export class ApplicationWithBrowser extends BrowserScreen {
  static title = 'Tessaline';
  static missing = Application.missing;

  constructor(options) {
    super(new Application(options));
  }

  async start(size) {
    if (await listens(pagePort).catch(() => false)) {
      throw new Error(`port ${pagePort} is in use: is Tessaline running on this computer already?`);
    }
    await this.application.launch({ mode: 'main' });
    await super.start(size);
  }

  async stop() {
    await super.stop();
    await this.application.stop();
  }
}
