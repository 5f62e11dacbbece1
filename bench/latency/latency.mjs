// Measures, in one run and taking turns, how long a change on an X display takes to the canvas of a
// browser: through the application, and through a VNC server with a browser client; and what a
// screen on which nothing moves costs. Runs on a private desktop:
//
//   scripts/desktop --empty node bench/latency/latency.mjs [--subjects application,vnc] ...

import { writeFileSync } from 'node:fs';
import { parseArgs } from 'node:util';

import { ApplicationWithBrowser } from './application.mjs';
import { combine, measure } from './measure.mjs';
import { endOnSignals, stopAllPrograms } from './processes.mjs';
import { OwnServer, ScrapingServer, X11vncServer } from './vncServer.mjs';

const size = { width: 1920, height: 1080 };
const codeEvery = { still: 1000, idle: 250, text: 100, motion: 100 };  // ms
const stillSeconds = 12;  // processor time has a resolution of 10 ms
const subjectKinds = {
  application: ApplicationWithBrowser, vnc: OwnServer, 'vnc-x0': ScrapingServer, 'vnc-x11': X11vncServer,
};

const { values: options } = parseArgs({
  options: {
    build: { type: 'string', default: 'build/release' },
    subjects: { type: 'string', default: 'application,vnc' },
    loads: { type: 'string', default: 'still,idle,text,motion' },
    rounds: { type: 'string', default: '3' },
    seconds: { type: 'string', default: '10' },
    out: { type: 'string' },
  },
});
const names = options.subjects.split(',');
const loads = options.loads.split(',');

const tell = (text) => process.stderr.write(`${text}\n`);

async function startSubjects(subjects, missing) {
  for (const name of names) {
    const Kind = subjectKinds[name];
    if (!Kind) throw new Error(`unknown subject ${name}`);
    const lacking = Kind.missing(options);
    if (lacking.length) {
      missing[name] = lacking;
      tell(`${Kind.title}: not measured, missing: ${lacking.join(', ')}`);
      continue;
    }
    const subject = new Kind(options);
    subjects.set(name, subject);
    await subject.start(size);
  }
}

async function measureOne(name, subject, load, round) {
  const stretch = await measure(subject, `${options.build}/painter`, {
    load, codeEvery: codeEvery[load], caption: `${name}, ${load}`,
    seconds: load === 'still' ? stillSeconds : Number(options.seconds),
  });
  const { shown, framesPerSecond, cores } = combine([stretch]);
  const figures = load === 'still' ? `${(cores * 100).toFixed(2)} % of a core`
    : `median ${shown.medianMs} ms, 95th percentile ${shown.p95Ms} ms, ${framesPerSecond} frames/s`;
  tell(`round ${round}, ${load.padEnd(6)}  ${name.padEnd(12)} ${figures}`);
  return stretch;
}

async function run() {
  const subjects = new Map();
  const results = { date: new Date().toISOString(), size, missing: {}, subjects: {} };
  try {
    await startSubjects(subjects, results.missing);
    const stretches = {};
    for (let round = 1; round <= Number(options.rounds); round++) {
      for (const load of loads.filter((each) => each !== 'still' || round === 1)) {
        for (const [name, subject] of subjects) {
          const stretch = await measureOne(name, subject, load, round);
          ((stretches[name] ??= {})[load] ??= []).push(stretch);
        }
      }
    }
    for (const [name, measured] of Object.entries(stretches)) {
      results.subjects[name] = { title: subjectKinds[name].title, loads: {} };
      for (const [load, list] of Object.entries(measured)) {
        results.subjects[name].loads[load] = combine(list);
      }
    }
  } finally {
    for (const subject of subjects.values()) await subject.stop().catch((e) => tell(e.message));
    await stopAllPrograms();
  }
  return results;
}

endOnSignals();
try {
  const text = JSON.stringify(await run(), null, 2);
  if (options.out) writeFileSync(options.out, `${text}\n`);
  else process.stdout.write(`${text}\n`);
} catch (error) {
  tell(`latency: ${error.message}`);
  process.exitCode = 1;
}
