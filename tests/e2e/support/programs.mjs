// Programs that tests start, and waiting for what they bring about.
import { spawn } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { createInterface } from 'node:readline';

// How much longer than usual everything may take: programs under a sanitizer are slow.
export const patience = Number(process.env.TESSALINE_PATIENCE ?? 1);

const keptLog = 200_000;  // characters; a program that logs without end must not fill the memory

// A running program. `output` and `errors` are what it has printed, `end` is the promise of its
// exit code or of the signal that ended it.
export class Program {
  output = '';
  errors = '';
  ended = false;

  // `within` are the words before a command that lead it elsewhere, into namespaces say.
  constructor(command, args, { env = process.env, input = 'ignore', within = [] } = {}) {
    this.name = command.split('/').pop();
    const [file, ...words] = [...within, command, ...args];
    this.child = spawn(file, words, { env, stdio: [input, 'pipe', 'pipe'] });
    this.end = new Promise((resolve) => {
      this.child.once('error', (error) => resolve(error.message));
      this.child.once('close', (code, signal) => resolve(signal ?? code));
    }).finally(() => { this.ended = true; });
    this.child.stdout.on('data', (data) => { this.output = (this.output + data).slice(-keptLog); });
    this.child.stderr.on('data', (data) => { this.errors = (this.errors + data).slice(-keptLog); });
  }

  // Its exit code or signal; throws when it still runs after the limit, and ends it.
  async ending({ seconds = 15 } = {}) {
    let timer;
    const late = new Promise((resolve) => {
      timer = setTimeout(resolve, seconds * patience * 1000, 'late');
    });
    const reason = await Promise.race([this.end, late]);
    clearTimeout(timer);
    if (reason !== 'late') return reason;
    this.child.kill('SIGKILL');
    throw new Error(`${this.name} did not end within ${seconds} s:\n${this.errors}`);
  }

  async kill(signal) {
    if (!this.ended) this.child.kill(signal);
    return this.ending();
  }
}

// A program that answers each line of its input with a line.
export class Dialogue {
  #program;
  #waiting = [];

  // `program` was started with the input 'pipe'.
  constructor(program) {
    this.#program = program;
    createInterface({ input: program.child.stdout }).on('line', (line) => (
      this.#waiting.shift()?.resolve(line)));
    program.end.then((reason) => {
      const error = new Error(`${program.name} ended (${reason}): ${program.errors.trim()}`);
      for (const { reject } of this.#waiting.splice(0)) reject(error);
    });
  }

  ask(line, { seconds = 20 } = {}) {
    if (this.#program.ended) throw new Error(`${this.#program.name} has ended`);
    return new Promise((resolve, reject) => {
      const late = setTimeout(reject, seconds * patience * 1000,
        new Error(`${this.#program.name} did not answer "${line}" within ${seconds} s`));
      const settle = (how) => (value) => { clearTimeout(late); how(value); };
      this.#waiting.push({ resolve: settle(resolve), reject: settle(reject) });
      this.#program.child.stdin.write(`${line}\n`);
    });
  }

  close() {
    this.#program.child.stdin.end();
    return this.#program.ending();
  }
}

// Runs a program to its end and returns what it printed; throws when it fails.
export async function run(command, args, options = {}) {
  const program = new Program(command, args, options);
  const reason = await program.ending();
  if (reason === 0) return program.output;
  throw new Error(`${program.name} ${args.join(' ')} failed (${reason}): ${program.errors.trim()}`);
}

export const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Asks until the answer is neither false nor empty nor an exception, and returns it. The limit is
// for a busy machine: what works takes a fraction of it.
export async function waitFor(what, ask, { seconds = 20, every = 40 } = {}) {
  const end = performance.now() + seconds * patience * 1000;
  let trouble = '';
  for (;;) {
    try {
      const answer = await ask();
      if (answer) return answer;
      trouble = '';
    } catch (error) {
      trouble = `: ${error.message}`;
    }
    if (performance.now() > end) {
      throw new Error(`${what} did not happen within ${seconds} s${trouble}`);
    }
    await pause(every);
  }
}

// Looks until what is seen is right, and returns it; throws with what was seen last.
export async function see(what, look, isRight, options) {
  let seen;
  await waitFor(what, async () => isRight(seen = await look()), options)
    .catch(({ message }) => { throw new Error(`${message}; seen: ${JSON.stringify(seen)}`); });
  return seen;
}

// The memory that a process has in use.
export const residentKiB = (pid) => (
  Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]));
