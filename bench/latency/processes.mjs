import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { connect, createServer } from 'node:net';
import { createInterface } from 'node:readline';

const endPatience = 5000;  // ms from a polite request to end to an impolite one
const running = new Set();

// A program that ends with this one. `lines` receives what it prints on standard output; what it
// prints on standard error is kept for the message when it fails. `computer` says where it runs:
// the environment there, and the words before a command that lead it there.
export function startProgram(command, args, { computer = {}, env = {}, lines,
                                              input = 'ignore' } = {}) {
  const [file, ...words] = [...computer.within ?? [], command, ...args];
  const child = spawn(file, words, {
    env: { ...process.env, ...computer.environment, ...env },
    stdio: [input, 'pipe', 'pipe'],
  });
  const program = { child, name: command.split('/').pop(), errors: '', ended: false };
  running.add(program);
  program.end = new Promise((resolve) => {
    const finish = (reason) => {
      program.ended = true;
      running.delete(program);
      resolve(reason);
    };
    child.once('error', (error) => finish(error.message));
    child.once('close', (code, signal) => finish(signal ?? code));
  });
  child.stderr.on('data', (data) => {
    program.errors = (program.errors + data).slice(-8000);
  });
  const reader = createInterface({ input: child.stdout });
  reader.on('line', (line) => lines?.(line));
  return program;
}

export async function stopProgram(program) {
  if (program.ended) return program.end;
  program.child.kill('SIGTERM');
  const timer = setTimeout(() => program.child.kill('SIGKILL'), endPatience);
  const reason = await program.end;
  clearTimeout(timer);
  return reason;
}

export async function stopAllPrograms() {
  await Promise.all([...running].reverse().map(stopProgram));
}

// A signal ends what runs before it ends this program.
export function endOnSignals() {
  for (const [signal, code] of [['SIGINT', 130], ['SIGTERM', 143]]) {
    process.once(signal, () => stopAllPrograms().finally(() => process.exit(code)));
  }
}

// Runs a program to its end and returns what it printed; throws when it fails.
export async function runProgram(command, args, options = {}) {
  const printed = [];
  const program = startProgram(command, args, { ...options, lines: (line) => printed.push(line) });
  const reason = await program.end;
  if (reason !== 0) {
    const errors = program.errors.trim();
    throw new Error(`${program.name} ${args.join(' ')} failed (${reason}): ${errors}`);
  }
  return printed.join('\n');
}

export const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

// Asks until the answer is neither false nor empty nor an exception, and returns it.
export async function waitFor(what, ask, { seconds = 20, every = 100 } = {}) {
  const end = Date.now() + seconds * 1000;
  let trouble = '';
  for (;;) {
    try {
      const answer = await ask();
      if (answer) return answer;
    } catch (error) {
      trouble = `: ${error.message}`;
    }
    if (Date.now() > end) throw new Error(`${what} did not happen within ${seconds} s${trouble}`);
    await sleep(every);
  }
}

// A TCP port that nobody listens on at the moment.
export async function freePort() {
  const server = createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

export async function listens(port) {
  const socket = connect(port, '127.0.0.1');
  try {
    await once(socket, 'connect');
    return true;
  } finally {
    socket.destroy();
  }
}
