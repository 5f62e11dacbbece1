// A private desktop (scripts/desktop) for the tests of one file. What differs between X and Wayland
// is in x11Desktop.mjs and mutterDesktop.mjs.
import { execFileSync } from 'node:child_process';
import { accessSync, constants } from 'node:fs';
import { delimiter, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Dialogue, Program, run, see, waitFor } from './programs.mjs';

const script = fileURLToPath(new URL('../../../scripts/desktop', import.meta.url));

// Programs of these tests are built to the folder of the application.
export const testProgram = (name) => join(process.env.TESSALINE_PROGRAMS ?? '', name);

// Those of them that are scripts lie here.
export const testScript = (name) => fileURLToPath(new URL(`${name}.py`, import.meta.url));

export function missingModules(...names) {
  try {
    execFileSync('/usr/bin/python3', ['-c', `import ${names}`], { stdio: 'ignore' });
    return false;
  } catch {
    return `python3 lacks ${names.join(' or ')}`;
  }
}

export function inPath(name) {
  return [...process.env.PATH.split(delimiter), '/usr/sbin'].some((folder) => {
    try {
      accessSync(join(folder, name), constants.X_OK);
      return true;
    } catch {
      return false;
    }
  });
}

export function missingOf(tools) {
  const tool = tools.find((name) => !inPath(name));
  return tool ? `${tool} is not installed` : false;
}

// A monitor is { name, x, y, width, height, scale }: what toolkits call it, its place on the desktop
// and its pixels. Places on a monitor are pixels from its top left.
export class Desktop {
  #program;
  #painter;
  #options;
  #within;

  // `options` are those of scripts/desktop, `within` the words that lead a command elsewhere.
  constructor(options, within) {
    this.#options = options;
    this.#within = within;
  }

  async start() {
    // The command ends with its input: should this process die, the desktop ends as well.
    this.#program = new Program(script,
      ['--empty', ...this.#options, '--', 'sh', '-c', 'env -0; exec cat'],
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
    await this.#painter?.close();
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

  // The monitors that this desktop did not have at its start.
  async extraMonitors() {
    return (await this.monitors()).filter(({ name }) => name !== this.ownMonitor.name);
  }

  // Waits for exactly these sizes of extra monitors, in any order, and returns the monitors in the
  // order of `sizes`.
  async awaitExtraMonitors(...sizes) {
    const name = ({ width, height }) => `${width}x${height}`;
    const wanted = sizes.map(name).sort().join();
    const found = await see(`extra monitors of ${wanted || 'no size at all'}`,
      () => this.extraMonitors(), (monitors) => monitors.map(name).sort().join() === wanted);
    return sizes.map((size) => found.find((monitor) => name(monitor) === name(size)));
  }

  // Fills rectangles of a monitor with colours ('rrggbb'), on top of everything else, what was
  // painted there before included. Over them the pointer is a crosshair.
  async paint(monitor, ...areas) {
    await this.#order(areas.map(({ x, y, width, height, colour }) => (
      `${width}x${height}+${x}+${y} ${colour} ${monitor.name}`)));
  }

  fill(monitor, colour) {
    return this.paint(monitor,
      { x: 0, y: 0, width: monitor.width, height: monitor.height, colour });
  }

  async clearPaint() {
    if (this.#painter) await this.#order(['clear']);
  }

  async #order(lines) {
    this.#painter ??= new Dialogue(this.launch(testScript('paint_areas'), [], { input: 'pipe' }));
    await Promise.all(lines.map((line) => this.#painter.ask(line)));
  }
}
