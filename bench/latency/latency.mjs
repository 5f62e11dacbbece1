// Measures, in one run and taking turns, how long a change on an X display takes to the canvas of a
// browser: through the application, and through a VNC server with a browser client.
// Runs on a private desktop: scripts/desktop --empty node bench/latency/latency.mjs ...

import { writeFileSync } from 'node:fs';
import { parseArgs } from 'node:util';

import { combine, measure } from './measure.mjs';
import { stopAllPrograms } from './processes.mjs';
import { OwnServer, ScrapingServer, X11vncServer } from './vncServer.mjs';

const size = { width: 1920, height: 1080 };
const codeEvery = { idle: 250, text: 100, motion: 100 };  // ms
const subjectKinds = { vnc: OwnServer, 'vnc-x0': ScrapingServer, 'vnc-x11': X11vncServer };

const { values: options } = parseArgs({
  options: {
    build: { type: 'string', default: 'build/release' },
    subjects: { type: 'string', default: 'application,vnc' },
    loads: { type: 'string', default: 'idle,text,motion' },
    rounds: { type: 'string', default: '3' },
    seconds: { type: 'string', default: '10' },
    out: { type: 'string' },
  },
});

const report = (text) => process.stderr.write(`${text}\n`);

async function run() {
  const subjects = new Map();
  const results = { size, missing: {}, subjects: {} };
  try {
    for (const name of options.subjects.split(',')) {
      const Kind = subjectKinds[name];
      const missing = Kind.missing(options);
      if (missing.length) {
        results.missing[name] = missing;
        report(`${Kind.title}: not measured, missing: ${missing.join(', ')}`);
        continue;
      }
      const subject = new Kind(options);
      subjects.set(name, subject);
      await subject.start(size);
    }
    const stretches = {};
    for (let round = 1; round <= Number(options.rounds); round++) {
      for (const load of options.loads.split(',')) {
        for (const [name, subject] of subjects) {
          const stretch = await measure(subject, `${options.build}/painter`, {
            load, codeEvery: codeEvery[load], caption: `${name}, ${load}`,
            seconds: Number(options.seconds),
          });
          ((stretches[name] ??= {})[load] ??= []).push(stretch);
          const { shown, framesPerSecond } = combine([stretch]);
          report(`round ${round}, ${load}, ${name}: median ${shown.medianMs} ms, ` +
                 `p95 ${shown.p95Ms} ms, ${framesPerSecond} frames/s`);
        }
      }
    }
    for (const [name, loads] of Object.entries(stretches)) {
      results.subjects[name] = { name: subjectKinds[name].title, loads: {} };
      for (const [load, list] of Object.entries(loads)) {
        results.subjects[name].loads[load] = combine(list);
      }
    }
  } finally {
    for (const subject of subjects.values()) await subject.stop().catch((e) => report(e.message));
    await stopAllPrograms();
  }
  return results;
}

const text = JSON.stringify(await run(), null, 2);
if (options.out) writeFileSync(options.out, `${text}\n`);
else process.stdout.write(`${text}\n`);
