// A private X desktop with spare outputs (scripts/desktop) for the tests of one file.
import { accessSync, constants, existsSync } from 'node:fs';
import { delimiter, join } from 'node:path';
import { createInterface } from 'node:readline';
import { fileURLToPath } from 'node:url';

import { Program, run, waitFor } from './programs.mjs';

const script = fileURLToPath(new URL('../../../scripts/desktop', import.meta.url));
const painter = process.env.TESSALINE_PAINT_AREAS ?? '';
const tools = ['xrandr', 'xdotool', 'openbox', 'dbus-daemon'];

function findMissing() {
  const inPath = (name) => process.env.PATH.split(delimiter).some((folder) => {
    try {
      accessSync(join(folder, name), constants.X_OK);
      return true;
    } catch {
      return false;
    }
  });
  if (!existsSync('/usr/lib/xorg/Xorg') && !inPath('Xorg')) return 'Xorg is not installed';
  const tool = tools.find((name) => !inPath(name));
  return tool ? `${tool} is not installed` : false;
}

// What is missing to have a desktop, false when nothing is; and what is missing to paint on it too.
export const missingPrograms = findMissing();
export const missing = missingPrograms || (existsSync(painter) ? false
  : 'TESSALINE_PAINT_AREAS does not name the program paint_areas');

export class Desktop {
  #program;
  #painter;
  #ordered = 0;  // lines
  #painted = 0;
  #within;
  #size;

  constructor({ within = [], size = '1280x800' } = {}) {
    this.#within = within;
    this.#size = size;
  }

  async start() {
    // The command ends with its input: should this process die, the desktop ends as well.
    this.#program = new Program(script,
      ['--empty', '--size', this.#size, '--', 'sh', '-c', 'env -0; exec cat'],
      { input: 'pipe', within: this.#within });
    const program = this.#program;
    await waitFor('the start of a private desktop', () => {
      if (program.ended) throw new Error(program.errors.trim());
      return program.output.endsWith('\0');
    });
    this.environment = Object.fromEntries(program.output.split('\0').filter(Boolean)
      .map((entry) => [entry.slice(0, entry.indexOf('=')), entry.slice(entry.indexOf('=') + 1)]));
    [this.ownMonitor] = await this.monitors();
  }

  async stop() {
    this.#painter?.child.stdin.end();
    this.#program?.child.stdin.end();
    await this.#program?.ending();
  }

  // Starts a program on this desktop.
  launch(command, args = [], { env = {}, ...options } = {}) {
    return new Program(command, args,
      { ...options, env: { ...this.environment, ...env }, within: this.#within });
  }

  // Runs a program on this desktop and returns what it printed.
  run(command, args, { env = {} } = {}) {
    return run(command, args, { env: { ...this.environment, ...env }, within: this.#within });
  }

  async monitors() {
    const lines = (await this.run('xrandr', ['--listmonitors'])).split('\n');
    const form = /^\s*\d+:\s+[+*]*(.+?)\s+(\d+)\/\d+x(\d+)\/\d+\+(\d+)\+(\d+)\s*(\S*)/;
    return lines.map((line) => form.exec(line)).filter(Boolean)
      .map(([, name, width, height, x, y, output]) => (
        { name, width: +width, height: +height, x: +x, y: +y, output }));
  }

  // The monitors that this desktop did not have at its start.
  async extraMonitors() {
    return (await this.monitors()).filter(({ output }) => output !== this.ownMonitor.output);
  }

  // Waits for exactly these sizes of extra monitors, in any order, and returns the monitors in the
  // order of `sizes`.
  async awaitExtraMonitors(...sizes) {
    const name = ({ width, height }) => `${width}x${height}`;
    const wanted = sizes.map(name);
    let found = [];
    try {
      return await waitFor('', async () => {
        found = await this.extraMonitors();
        if ([...wanted].sort().join() !== found.map(name).sort().join()) return null;
        return wanted.map((size) => found.find((monitor) => name(monitor) === size));
      });
    } catch {
      throw new Error(`extra monitors are to be [${wanted}] but are [${found.map(name)}]`);
    }
  }

  // Fills rectangles of the desktop with colours ('rrggbb'), on top of everything else. Over them
  // the pointer is a crosshair.
  async paint(...areas) {
    await this.#order(areas.map(({ x, y, width, height, colour }) => (
      `${width}x${height}+${x}+${y} ${colour}`)));
  }

  async clearPaint() {
    if (this.#painter) await this.#order(['clear']);
  }

  movePointer(x, y) {
    return this.run('xdotool', ['mousemove', String(x), String(y)]);
  }

  async #order(lines) {
    if (!this.#painter) {
      this.#painter = this.launch(painter, [], { input: 'pipe' });
      createInterface({ input: this.#painter.child.stdout }).on('line', () => { ++this.#painted; });
    }
    this.#ordered += lines.length;
    const wanted = this.#ordered;
    this.#painter.child.stdin.write(lines.map((line) => `${line}\n`).join(''));
    await waitFor('painting', () => {
      if (this.#painter.ended) throw new Error(this.#painter.errors);
      return this.#painted >= wanted;
    }, { every: 5 });
  }
}
