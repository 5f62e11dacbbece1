// The demonstration: a private desktop gets a browser as an extra screen, without a person. Runs
// inside scripts/desktop; ends with a report and a PNG, and with an exit code that is 0 only when
// everything worked.

import { mkdirSync } from 'node:fs';
import { dirname } from 'node:path';
import { parseArgs } from 'node:util';

import { Application } from './application.mjs';
import { combine, measure } from './measure.mjs';
import { endOnSignals, sleep, stopAllPrograms } from './processes.mjs';
import { Painter } from './painter.mjs';

const size = { width: 1920, height: 1080 };
const caption = 'Tessaline: this is an extra screen, shown by a browser';
const leastFramesPerSecond = 5;     // a machine that does less does not show a moving picture
const mostUnreadable = 0.05;        // share of pictures whose code was damaged
const settle = 1500;                // ms until the painted picture is there in full quality

const { values: options } = parseArgs({
  options: {
    build: { type: 'string', default: 'build/release' },
    png: { type: 'string', default: 'build/demo.png' },
    seconds: { type: 'string', default: '10' },
  },
});

const say = (text) => process.stdout.write(`    ${text}\n`);

async function play(subject, load, seconds) {
  return combine([await measure(subject, `${options.build}/painter`,
    { load, codeEvery: 100, caption, seconds })]);
}

async function photograph(subject) {
  const painter = new Painter(`${options.build}/painter`, subject.environment, subject.bounds);
  painter.start('motion', { codeEvery: 1000, caption });
  try {
    await sleep(settle);
    mkdirSync(dirname(options.png), { recursive: true });
    await subject.page.screenshot({ path: options.png });
  } finally {
    await painter.stop();
  }
}

function report(bounds, moving, quiet) {
  const rate = (moving.bytesPerSecond / 1e6).toFixed(2);
  const latency = ({ shown }) => `${shown.medianMs} ms median, ${shown.p95Ms} ms 95th percentile ` +
    `(${shown.samples} changes)`;
  const lines = [
    ['Picture size', `${bounds.width} × ${bounds.height} pixels`],
    ['Frames per second', `${moving.framesPerSecond}`],
    ['Latency, all moving', latency(moving)],
    ['Latency, one change', latency(quiet)],
    ['Data', `${rate} MB per second`],
    ['Picture', options.png],
  ];
  process.stdout.write('\n');
  for (const [name, value] of lines) process.stdout.write(`  ${name.padEnd(20)} ${value}\n`);
  process.stdout.write('\n  Latency is the time from a change on the X server to the canvas of ' +
                       'the page.\n\n');
}

function complaints(bounds, moving, quiet) {
  const found = [];
  if (bounds.width !== size.width || bounds.height !== size.height) {
    found.push('the extra screen does not have the size of the browser');
  }
  if (moving.framesPerSecond < leastFramesPerSecond) found.push('hardly any pictures arrived');
  if (moving.unreadableShare > mostUnreadable) found.push('pictures arrived damaged');
  if (!moving.shown.samples || !quiet.shown.samples) found.push('no change could be timed');
  return found;
}

async function run() {
  const lacking = Application.missing(options);
  if (lacking.length) throw new Error(`not built: ${lacking.join(', ')}`);
  const application = new Application(options, say);
  let problems;
  try {
    await application.start(size);
    say('Something moves on the extra screen for a while…');
    const moving = await play(application, 'motion', Number(options.seconds));
    const quiet = await play(application, 'idle', Number(options.seconds));
    await photograph(application);
    report(application.bounds, moving, quiet);
    problems = complaints(application.bounds, moving, quiet);
  } catch (error) {
    if (application.log) process.stderr.write(`${application.log}\n`);
    throw error;
  } finally {
    const clean = await application.stop();
    await stopAllPrograms();
    if (!clean) problems?.push('the application did not end cleanly');
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
