import { runProgram, startProgram, stopProgram } from './processes.mjs';

const geometry = ({ width, height, x, y }) => `${width}x${height}+${x}+${y}`;

// The painter's program on one rectangle of one computer's desktop. `marks` maps each painted counter to the
// wall-clock milliseconds right before it was painted.
export class Painter {
  constructor(program, computer, bounds) {
    this.program = program;
    this.computer = computer;
    this.bounds = bounds;
    this.marks = new Map();
    this.roundTrips = [];  // ms from before to after, what the time of painting is unsure by
  }

  start(load, { codeEvery, caption }) {
    const args = ['--geometry', geometry(this.bounds), '--load', load, '--caption', caption,
                  '--code-every', String(codeEvery)];
    this.running = startProgram(this.program, args, {
      computer: this.computer,
      lines: (line) => {
        const [word, counter, before, after] = line.split(' ');
        if (word !== 'code') return;
        this.marks.set(Number(counter), Number(before) / 1000);
        this.roundTrips.push((Number(after) - Number(before)) / 1000);
      },
    });
  }

  async stop() {
    const failure = !this.running.ended ? null : this.running.errors.trim() || 'it ended early';
    await stopProgram(this.running);
    if (failure) throw new Error(`the painter failed: ${failure}`);
  }

  // The monitors of a computer, by name.
  static async monitors(program, computer) {
    const printed = await runProgram(program, ['--list'], { computer });
    return new Map(printed.split('\n').filter(Boolean).map((line) => {
      // A name may have spaces.
      const [, name, ...numbers] = /^(.*) (-?\d+) (-?\d+) (\d+) (\d+)$/.exec(line);
      const [x, y, width, height] = numbers.map(Number);
      return [name, { x, y, width, height }];
    }));
  }
}
