// Many sessions, one after the other and with every kind of end: what they leave behind. To see slow
// leaks run it with a thousand of them: TESSALINE_ENDURANCE=1000 TESSALINE_PROGRAMS=build/debug
// node --test tests/e2e/browser/endurance.test.mjs
import assert from 'node:assert/strict';
import { readFileSync, readdirSync, readlinkSync } from 'node:fs';
import { isDeepStrictEqual } from 'node:util';

import { inPath } from '../support/desktop.mjs';
import { pause, residentKiB, waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { openSocket, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const sessions = Number(process.env.TESSALINE_ENDURANCE ?? 60);
const warmUp = 20;           // sessions until pools, caches and the allocator have what they need
const mayGrow = 16 * 1024;   // KiB of memory, whatever the number of sessions
const secondsEach = 20;      // at most; on a quiet machine it is a fraction of one
const sizes = [[800, 600], [640, 480], [1024, 768], [333, 777]];
const device = 'endurance';

const countsResources = inPath('xrestop');
if (!countsResources) console.log('X resources not counted: xrestop is not installed');

// What the application has open, by kind: [socket], [eventpoll], a path.
function descriptors(pid) {
  return readdirSync(`/proc/${pid}/fd`).map((entry) => {
    try {
      return readlinkSync(`/proc/${pid}/fd/${entry}`).replace(/:\[\d+\]/, '');
    } catch {
      return 'closed meanwhile';
    }
  }).sort();
}

// Segments of shared memory that the process made.
const sharedMemory = (pid) => readFileSync('/proc/sysvipc/shm', 'utf8').split('\n').slice(1)
  .filter((line) => Number(line.trim().split(/\s+/)[4]) === pid).length;

const filesBelow = (folder) => readdirSync(folder, { recursive: true })
  .filter((file) => !/\.log$/.test(file)).sort();

// The process of the desktop's X server.
function serverOf(desktop) {
  const mark = `TESSALINE_DESKTOP=${desktop.environment.TESSALINE_DESKTOP}`;
  return Number(readdirSync('/proc').filter((name) => /^\d+$/.test(name)).find((pid) => {
    try {
      return readFileSync(`/proc/${pid}/comm`, 'utf8') === 'Xorg\n'
        && readFileSync(`/proc/${pid}/environ`, 'utf8').split('\0').includes(mark);
    } catch {
      return false;
    }
  }));
}

// What the X server keeps for the application's process: the counts of each of its connections.
async function resources(desktop, pid) {
  if (!countsResources) return [];
  // Now and then it does not list a client that has just made windows.
  return waitFor('the resources of the application', async () => {
    const text = await desktop.run('xrestop', ['-b', '-m', '1']);
    const own = text.split(/^\d+ - /m)
      .filter((client) => new RegExp(`PID:? *: *${pid}\\b`, 'i').test(client))
      .map((client) => client.replace(/res_base.*/, '').replace(/\s+/g, ' ')).sort();
    return own.length > 0 && own;
  });
}

async function census(desktop, application) {
  const pid = application.processID;
  const server = serverOf(desktop);
  const names = await desktop.run('dbus-send', ['--session', '--print-reply',
    '--dest=org.freedesktop.DBus', '/', 'org.freedesktop.DBus.ListNames']);
  const outputs = await desktop.run('xrandr', ['--verbose']);
  return {
    descriptors: descriptors(pid),
    threads: readdirSync(`/proc/${pid}/task`).map((task) => (
      readFileSync(`/proc/${pid}/task/${task}/comm`, 'utf8').trim())).sort(),
    sharedMemory: sharedMemory(pid),
    files: filesBelow(desktop.environment.XDG_RUNTIME_DIR),
    names: names.split('\n').filter((line) => /string "[^:]/.test(line)).length,
    connections: readdirSync(`/proc/${server}/fd`).length,
    modes: outputs.split('\n').filter((line) => line.includes('tessaline')),
    resources: await resources(desktop, pid),
  };
}

const memory = (desktop, application) => ({
  application: residentKiB(application.processID), server: residentKiB(serverOf(desktop)),
});

// One session from its hello to its first picture. How it ends is the caller's.
function begin(application, number) {
  const [w, h] = sizes[number % sizes.length];
  const socket = openSocket(application, { w, h, id: device, name: 'Endurance' });
  socket.closed = new Promise((resolve) => { socket.on('close', resolve); });
  const shown = new Promise((resolve, reject) => {
    socket.on('message', (data) => { if (data[0] === type.frame) resolve(socket); });
    socket.on('error', reject);
    socket.closed.then(() => reject(new Error(`session ${number} ended before its picture`)));
  });
  shown.catch(() => {});
  return { socket, shown };
}

const ends = [
  ({ socket }) => socket.close(),
  ({ socket }) => socket.terminate(),
  ({ socket }) => socket._socket.resetAndDestroy(),
  (_, application) => application.control('stop'),
];

async function run(application, count) {
  for (let number = 0; number < count; ++number) {
    const session = begin(application, number);
    // Every fifth is over before it has begun to show anything, at another moment each time.
    if (number % 5 === 4) {
      await new Promise((resolve) => { session.socket.on('open', resolve); });
      await new Promise((resolve) => { setTimeout(resolve, number % 50); });
      session.socket.terminate();
    } else {
      await session.shown;
      await ends[number % ends.length](session, application);
    }
    await session.socket.closed;
    await waitFor(`the end of session ${number}`, async () => (
      (await application.status()).screens.length === 0));
  }
}

testApplication(`${sessions} sessions leave nothing behind`, async () => {
  const { application, desktop } = tools;
  const first = begin(application, 0);
  await application.answer(device, 'allow');
  await first.shown;
  first.socket.close();
  await waitFor('the menu, a window here', () => /no tray/.test(application.log));
  await run(application, warmUp);
  await desktop.awaitExtraMonitors();
  const before = await census(desktop, application);
  const memoryBefore = memory(desktop, application);

  await run(application, sessions);
  await desktop.awaitExtraMonitors();
  let after;
  await waitFor('', async () => {
    after = await census(desktop, application);
    return isDeepStrictEqual(after, before);
  }).catch(() => assert.deepEqual(after, before));
  const memoryAfter = memory(desktop, application);
  console.log(`${sessions} sessions; KiB before and after: ${JSON.stringify(memoryBefore)} `
    + `${JSON.stringify(memoryAfter)}; descriptors ${after.descriptors.length}, threads `
    + `${after.threads.length}, X server's descriptors ${after.connections}`);
  for (const program of ['application', 'server']) {
    const grown = memoryAfter[program] - memoryBefore[program];
    assert.ok(grown < mayGrow, `the ${program} grew by ${grown} KiB`);
  }
}, { seconds: (sessions + warmUp) * secondsEach });

testApplication('an X server that dies ends the application at once, with one line', async () => {
  const { application, desktop } = tools;
  const session = begin(application, 0);
  await session.shown;
  // Qt 6.4 crashes where the server goes while it asks about a new monitor.
  await desktop.awaitExtraMonitors({ width: 800, height: 600 });
  await application.status();
  await pause(1000);
  process.kill(serverOf(desktop), 'SIGKILL');
  assert.equal(await application.ending(), 1);
  assert.equal(application.log.match(/the desktop has gone/g)?.length, 1);
  await session.socket.closed;
});
