import { existsSync } from 'node:fs';
import { join, resolve } from 'node:path';

import { Application } from './application.mjs';
import { codePlace } from './browser.mjs';
import { runProgram, startProgram, stopProgram, waitFor } from './processes.mjs';

// The application in its screen role on another computer, which became the extra screen of one in
// its main role: found, chosen, asked about, allowed. Its picture is looked at on its X server.
export class NativeScreen {
  static missing({ build }) {
    return [join(build, 'code_reader')].filter((file) => !existsSync(file));
  }

  // `host` is the other computer, `scale` what its desktop's points are in pixels.
  constructor({ build }, application, host, tell = () => {}, scale = 1) {
    this.reader = join(build, 'code_reader');
    this.application = application;
    this.computer = application.computer;
    this.host = host;
    this.hostComputer = {
      environment: { ...host.desktop.environment, QT_SCALE_FACTOR: `${scale}` }, within: host.within,
    };
    this.screen = new Application({ build, computer: this.hostComputer });
    this.tell = tell;
    this.watcher = { start: (load) => this.#watch(load), take: () => this.#takeLooks() };
  }

  async start() {
    const { name } = this.host;
    const before = await this.application.monitors();
    await this.screen.launch({ mode: 'screen' });
    await waitFor('the discovery of the other computer', async () => (
      (await this.application.status()).computers.includes(name)));
    this.tell(`Tessaline found another computer: ${name}`);
    await this.application.control('start', name);
    const { device, question } = await this.application.asking();
    this.tell(`Tessaline asks: ${question}`);
    await this.application.control('allow', device);
    await waitFor('the first picture', async () => (await this.#measurements()).frames > 0);
    ({ name: this.monitor, bounds: this.bounds } = await this.application.addedMonitor(before));
  }

  // What the application has sent to the other computer.
  async #measurements() {
    const { screens } = await this.application.status();
    const screen = screens.find(({ name }) => name === this.host.name);
    if (!screen?.streaming) throw new Error('the other computer shows nothing');
    return screen.measurements;
  }

  async #watch(load) {
    this.looks = [];
    this.counted = await this.#measurements();
    const what = load === 'pointer' ? ['0', '0', 'pointer'] : [`${codePlace.x}`, `${codePlace.y}`];
    this.running = startProgram(this.reader, what, {
      computer: this.hostComputer,
      lines: (line) => {
        const [word, counter, at] = line.split(' ');
        if (word === 'look') this.looks.push([counter, Number(at) / 1000]);
      },
    });
  }

  // What a page's probe would answer (pageProbe.mjs).
  async #takeLooks() {
    await stopProgram(this.running);
    const { frames, bytes } = await this.#measurements();
    const codes = [];
    for (const [counter, at] of this.looks) {
      if (counter !== '-' && codes.at(-1)?.[0] !== Number(counter)) codes.push([Number(counter), at]);
    }
    return {
      codes, bytes: bytes - this.counted.bytes, readMs: 0, wallOffset: 0,
      frames: frames - this.counted.frames, paints: this.looks.map(([, at]) => at),
      unreadable: this.looks.filter(([counter]) => counter === '-').length,
    };
  }

  processIds() {
    return [this.application.processId, this.screen.processId];
  }

  async check() {
    this.application.checkRuns();
    this.screen.checkRuns();
    await this.#measurements();
  }

  photograph(file) {
    const { width, height } = this.bounds;
    return runProgram(this.reader, ['photograph', `${width}x${height}+0+0`, resolve(file)],
      { computer: this.hostComputer });
  }

  // True when it ended as it should.
  stop() {
    return this.screen.stop();
  }
}
