import { existsSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { openBrowser } from './browser.mjs';
import { Painter } from './painter.mjs';
import { listens, runProgram, startProgram, stopProgram, waitFor } from './processes.mjs';

const pagePort = 7790;

// The application in its main role on the display named by DISPLAY, with a configuration of its
// own, and a browser that became an extra screen of it the way a person's does: the page is tapped,
// the application asks, the device is allowed.
export class Application {
  static title = 'Tessaline';

  static missing({ build }) {
    return ['tessaline', 'tessalinectl', 'painter'].map((name) => join(build, name))
      .filter((file) => !existsSync(file));
  }

  constructor({ build }, tell = () => {}) {
    this.build = build;
    this.tell = tell;
  }

  async start(size) {
    if (await listens(pagePort).catch(() => false)) {
      throw new Error(`port ${pagePort} is in use: is Tessaline running on this computer already?`);
    }
    this.folder = mkdtempSync(join(tmpdir(), 'tessaline-bench.'));
    this.environment = {
      XDG_CONFIG_HOME: join(this.folder, 'config'), XDG_DATA_HOME: join(this.folder, 'data'),
    };
    mkdirSync(join(this.environment.XDG_CONFIG_HOME, 'tessaline'), { recursive: true });
    writeFileSync(join(this.environment.XDG_CONFIG_HOME, 'tessaline', 'defaults.json'),
      JSON.stringify({ mode: 'main', onboarded: true }));
    const before = await this.monitors();

    this.program = startProgram(join(this.build, 'tessaline'), [], { env: this.environment });
    const status = await waitFor('the start of the application', async () => {
      if (this.program.ended) throw new Error(this.program.errors.trim() || 'it ended');
      const now = await this.status();
      return now.localLink && await listens(pagePort) ? now : null;
    });
    this.tell(`Tessaline is running. Its link: ${status.link}`);

    ({ browser: this.browser, page: this.page } = await openBrowser(size));
    await this.page.goto(status.localLink);
    await this.page.locator('#msg').click();
    this.tell('A browser opened the link and was tapped.');
    const { pending: [asking] } = await waitFor('the question about the browser', async () => {
      const now = await this.status();
      return now.pending.length ? now : null;
    });
    this.tell(`Tessaline asks: ${asking.question}`);
    await this.control('allow', asking.device);
    await waitFor('the first picture', () => this.page.evaluate(() => {
      const canvas = document.querySelector('canvas');
      const panel = document.querySelector('#msg');
      return canvas.width > 300 && getComputedStyle(panel).display === 'none';
    }));
    await this.findExtraDisplay(before);
    this.tell(`Allowed. The extra screen is ${this.bounds.width} × ${this.bounds.height} pixels.`);
  }

  // The monitor that was not there before.
  async findExtraDisplay(before) {
    const [extra] = [...await this.monitors()].filter(([name]) => !before.has(name));
    if (!extra) throw new Error('no monitor has been added to the desktop');
    [this.monitor, this.bounds] = extra;
  }

  monitors() {
    return Painter.monitors(join(this.build, 'painter'), {});
  }

  control(...args) {
    return runProgram(join(this.build, 'tessalinectl'), args, { env: this.environment });
  }

  async status() {
    return JSON.parse(await this.control('status', '--json'));
  }

  processIds() {
    return [this.program.child.pid];
  }

  // Throws when the application has ended or the page no longer shows its picture.
  async check() {
    if (this.program.ended) {
      throw new Error(`the application ended (${await this.program.end}): ${this.log.trim()}`);
    }
    const panel = await this.page.locator('#msg').isVisible();
    if (panel) throw new Error(`the page says: ${await this.page.locator('#msg').innerText()}`);
  }

  // What the application wrote to its log, as far as it is kept.
  get log() {
    return this.program?.errors ?? '';
  }

  // True when it ended as it should and left no display behind.
  async stop() {
    await this.browser?.close();
    let clean = true;
    if (this.program) {
      const reason = await stopProgram(this.program);
      const left = this.monitor && (await this.monitors()).has(this.monitor);
      clean = reason === 0 && !left;
    }
    if (this.folder) rmSync(this.folder, { recursive: true, force: true });
    return clean;
  }
}
