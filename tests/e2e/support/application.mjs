// The real application on a desktop, with a configuration of its own.
import { existsSync, mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';

import { waitFor } from './programs.mjs';

const folder = process.env.TESSALINE_PROGRAMS ?? '';

// What is missing to run it, false when nothing is.
export const missing = ['tessaline', 'tessalinectl'].every((name) => existsSync(join(folder, name)))
  ? false : 'TESSALINE_PROGRAMS does not name the folder of the application';

export class Application {
  #program = null;
  #desktop;
  #environment;
  #defaults;

  // `name` tells its configuration from that of others on the same desktop.
  constructor(desktop, name = 'main', defaults = { mode: 'main', onboarded: true }) {
    const home = join(desktop.environment.XDG_RUNTIME_DIR, `home-${name}`);
    this.#desktop = desktop;
    this.#environment = {
      XDG_CONFIG_HOME: join(home, 'config'), XDG_DATA_HOME: join(home, 'data'),
    };
    this.#defaults = join(home, 'config', 'tessaline', 'defaults.json');
    mkdirSync(join(home, 'config', 'tessaline'), { recursive: true });
    this.storedDefaults = defaults;
  }

  get running() {
    return this.#program !== null && !this.#program.ended;
  }

  get processID() {
    return this.#program.child.pid;
  }

  // What it has logged since its last start.
  get log() {
    return this.#program.errors;
  }

  get storedDefaults() {
    return JSON.parse(readFileSync(this.#defaults, 'utf8'));
  }

  // While it does not run.
  set storedDefaults(defaults) {
    writeFileSync(this.#defaults, JSON.stringify(defaults));
  }

  // Starts a program with the same configuration, another process of the application if no other.
  launch(command = join(folder, 'tessaline'), args = [], { env = {}, ...options } = {}) {
    return this.#desktop.launch(command, args, { ...options, env: { ...this.#environment, ...env } });
  }

  async start() {
    const program = this.#program = this.launch();
    await waitFor('the start of the application', async () => {
      if (program.ended) throw new Error(`it ended: ${program.errors}`);
      const { role, link, localLink } = await this.status();
      this.link = localLink ?? link;  // once it speaks TLS there is no other
      return role === 'screen' || this.link;
    });
  }

  // Runs tessalinectl and returns what it printed.
  control(...args) {
    return this.#desktop.run(join(folder, 'tessalinectl'), args, { env: this.#environment });
  }

  async status() {
    return JSON.parse(await this.control('status', '--json'));
  }

  // Waits for the question about a device and answers it ('allow' or 'deny').
  async answer(deviceID, answer) {
    await waitFor('the question about the device', async () => (
      (await this.status()).pending.some(({ device }) => device === deviceID)));
    await this.control(answer, deviceID);
  }

  // Its exit code, or the signal that ended it.
  end(signal) {
    return this.#program.kill(signal);
  }

  // The same for an end that something else brings about.
  ending() {
    return this.#program.ending();
  }
}
