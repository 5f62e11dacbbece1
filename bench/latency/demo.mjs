// The demonstration, without a person: a computer gets two extra screens, a second computer with
// the same application and a browser. Ends with a table and two PNGs, and with an exit code that is
// 0 only when everything worked. The computers are desktops in namespaces of their own; where those
// cannot be made there is one desktop and the browser.

import { mkdirSync } from 'node:fs';
import { dirname, resolve } from 'node:path';
import { parseArgs } from 'node:util';

import { Application, BrowserScreen } from './application.mjs';
import { makeComputers, missingHost } from './computers.mjs';
import { measureStages } from './floor.mjs';
import { combine, measure } from './measure.mjs';
import { NativeScreen } from './nativeScreen.mjs';
import { Painter } from './painter.mjs';
import { endOnSignals, sleep, stopAllPrograms } from './processes.mjs';

const size = { width: 1920, height: 1080 };
const loads = { idle: 'small changes', motion: 'everything moves' };
const floorFrames = 180;            // of each load
const target = 2;                   // the native screen's median over the floor
const leastFramesPerSecond = 5;     // a machine that does less does not show a moving picture
const mostUnreadable = 0.05;        // share of pictures whose code was damaged
const settle = 1500;                // ms until the painted picture is there in full quality

const { values: options } = parseArgs({
  options: {
    build: { type: 'string', default: 'build/release' },
    png: { type: 'string', default: 'build/demo.png' },
    'native-png': { type: 'string', default: 'build/demo-native.png' },
    seconds: { type: 'string', default: '10' },
  },
});

// Commands on other computers begin elsewhere.
options.build = resolve(options.build);

const say = (text) => process.stdout.write(`    ${text}\n`);

const captionOf = ({ title }) => `Tessaline: this is an extra screen, shown by ${title}`;

async function play(show, load) {
  return combine([await measure(show.subject, `${options.build}/painter`,
    { load, codeEvery: 100, caption: captionOf(show), seconds: Number(options.seconds) })]);
}

async function photograph(show) {
  const { subject, png: file } = show;
  const painter = new Painter(`${options.build}/painter`, subject.computer, subject.bounds);
  painter.start('motion', { codeEvery: 1000, caption: captionOf(show) });
  try {
    await sleep(settle);
    mkdirSync(dirname(file), { recursive: true });
    await subject.photograph(file);
  } finally {
    await painter.stop();
  }
}

function report(floor, measured) {
  const rows = [['', 'load', 'median ms', '95th percentile ms', 'times the floor', 'frames/s',
                 'MB/s', 'changes']];
  for (const [load, name] of Object.entries(loads)) {
    rows.push(['the floor', name, floor[load].toFixed(1), '', '', '', '', '']);
    for (const { title, results } of measured) {
      const { shown, framesPerSecond, bytesPerSecond } = results[load];
      const ratio = shown.medianMs / floor[load];
      rows.push([title, name, `${shown.medianMs}`, `${shown.p95Ms}`, ratio.toFixed(2),
                 `${framesPerSecond}`, (bytesPerSecond / 1e6).toFixed(2), `${shown.samples}`]);
    }
  }
  const widths = rows[0].map((_, column) => Math.max(...rows.map((row) => row[column].length)));
  const line = (row) => row.map((cell, column) => (
    column < 2 ? cell.padEnd(widths[column]) : cell.padStart(widths[column]))).join('  ');
  process.stdout.write(`\n${rows.map((row) => `  ${line(row)}\n`).join('')}
  From a change on the X server of the computer to the pixels of the other computer's X server, or
  to the canvas of the page; ${size.width} × ${size.height}, all on this machine.
  The floor: grab, convert, encode and decode of one whole picture, each alone.\n`);
  const native = measured.find(({ native: isNative }) => isNative);
  for (const load of native ? Object.keys(loads) : []) {
    const ratio = native.results[load].shown.medianMs / floor[load];
    process.stdout.write(`  Target, ${loads[load]}: at most ${target} times the floor: ` +
      `${ratio <= target ? 'met' : 'missed'}\n`);
  }
  process.stdout.write('\n');
}

function complaints({ title, bounds, results }) {
  const found = [];
  if (bounds.width !== size.width || bounds.height !== size.height) {
    found.push(`${title}: the extra screen does not have the size of the device`);
  }
  const { motion } = results;
  if (motion.framesPerSecond < leastFramesPerSecond) found.push(`${title}: hardly any pictures`);
  if (motion.unreadableShare > mostUnreadable) found.push(`${title}: pictures arrived damaged`);
  for (const { shown } of Object.values(results)) {
    if (!shown.samples) found.push(`${title}: no change could be timed`);
  }
  return found;
}

async function run() {
  const lacking = [...Application.missing(options), ...NativeScreen.missing(options)];
  if (lacking.length) throw new Error(`not built: ${lacking.join(', ')}`);
  const { computer, screen, stop } = await makeComputers(size, size);
  if (!screen) say(`No second computer: ${missingHost}`);
  const application = new Application({ ...options, computer });
  const shows = [];
  const problems = [];
  try {
    const { link } = await application.launch({ mode: 'main' });
    say(`Tessaline is running. Its link: ${link}`);
    if (screen) {
      shows.push({ subject: new NativeScreen(options, application, screen, say), native: true,
                   title: 'a second computer', png: options['native-png'] });
    }
    shows.push({ subject: new BrowserScreen(application, say), title: 'a browser',
                 png: options.png });
    for (const { subject } of shows) await subject.start(size);
    say(`Extra screens: ${shows.map(({ title, subject: { bounds } }) => (
      `${title}, ${bounds.width} × ${bounds.height}`)).join('; ')}.`);
    const floor = {};
    for (const load of Object.keys(loads)) {
      // Right before what is compared with it: a machine is not equally busy all the time.
      say(`What the stages cost by themselves, and the way as a whole: ${loads[load]}…`);
      const stages = await measureStages(options.build, computer, size,
        { frames: floorFrames, load });
      floor[load] = stages[load].floorMs;
      for (const show of shows) (show.results ??= {})[load] = await play(show, load);
    }
    for (const show of shows) {
      await photograph(show);
      say(`What ${show.title} shows: ${show.png}`);
      problems.push(...complaints({ ...show, bounds: show.subject.bounds }));
    }
    report(floor, shows);
  } catch (error) {
    for (const { log } of [application, ...shows.map(({ subject }) => subject.screen ?? {})]) {
      if (log) process.stderr.write(`${log}\n`);
    }
    throw error;
  } finally {
    for (const { subject } of shows) {
      if (await subject.stop() === false) problems.push('the other computer did not end cleanly');
    }
    if (!await application.stop()) problems.push('the application did not end cleanly');
    const left = (await application.monitors().catch(() => new Map())).size;
    if (left > 1) problems.push('a display was left behind');
    await stopAllPrograms();
    await stop();
  }
  if (problems.length) throw new Error(problems.join('; '));
  say('Everything that was started has ended.');
}

endOnSignals();
try {
  await run();
} catch (error) {
  process.stderr.write(`demo: ${error.message}\n`);
  process.exitCode = 1;
}
