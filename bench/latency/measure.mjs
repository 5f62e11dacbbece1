import { cpuSeconds } from './cpuTime.mjs';
import { Painter } from './painter.mjs';
import { sleep } from './processes.mjs';
import { summary } from './statistics.mjs';

const warmUp = 1500;     // ms from the start of a load until looking: rate control has settled
const lastChance = 500;  // ms: a code painted later than this before the end may show after it

// How long each code took from the X server to being seen. Two views:
// "shown": codes that appeared, from being painted to being seen;
// "ages": every code, until it or a newer one was seen, so that skipped pictures count too.
function latencies(marks, probe, from, to) {
  const shown = [];
  const ages = [];
  const seen = probe.codes.map(([counter, at]) => [counter, at + probe.wallOffset]);
  for (const [counter, at] of seen) {
    const painted = marks.get(counter);
    if (painted >= from && painted < to) shown.push(at - painted);
  }
  let next = 0;
  for (const [counter, painted] of marks) {
    if (painted < from || painted >= to - lastChance) continue;
    while (next < seen.length && seen[next][0] < counter) next++;
    if (next < seen.length) ages.push(seen[next][1] - painted);
  }
  return { shown, ages };
}

// One stretch of one load on a subject, which has the `computer` that it lends a screen to, the
// `bounds` of the picture there, a `watcher` that sees where the picture arrives, `processIds()`,
// and `check()`, which throws when it has stopped working.
export async function measure(subject, painterProgram, { load, codeEvery, caption, seconds }) {
  const painter = new Painter(painterProgram, subject.computer, subject.bounds);
  painter.start(load, { codeEvery, caption });
  try {
    await sleep(warmUp);
    await subject.watcher.start();
    const from = Date.now();
    const cpuBefore = cpuSeconds(subject.processIds());
    await sleep(seconds * 1000);
    const cpu = cpuSeconds(subject.processIds()) - cpuBefore;
    const to = Date.now();
    await subject.check();
    const probe = await subject.watcher.take();
    const took = (to - from) / 1000;
    return {
      ...latencies(painter.marks, probe, from, to),
      paints: probe.paints.length, unreadable: probe.unreadable, bytes: probe.bytes,
      readMs: probe.readMs, wallOffset: probe.wallOffset, roundTrips: painter.roundTrips,
      seconds: took, cpuSeconds: cpu,
    };
  } finally {
    await painter.stop();
  }
}

// Several stretches of the same load on the same subject as one result.
export function combine(stretches) {
  const total = (pick) => stretches.reduce((sum, stretch) => sum + pick(stretch), 0);
  const seconds = total((stretch) => stretch.seconds);
  const paints = total((stretch) => stretch.paints);
  return {
    shown: summary(stretches.flatMap((stretch) => stretch.shown)),
    ages: summary(stretches.flatMap((stretch) => stretch.ages)),
    framesPerSecond: Math.round(paints / seconds * 10) / 10,
    bytesPerSecond: Math.round(total((stretch) => stretch.bytes) / seconds),
    cores: Math.round(total((stretch) => stretch.cpuSeconds) / seconds * 1000) / 1000,
    unreadableShare: paints ? total((stretch) => stretch.unreadable) / paints : null,
    // What the measurement itself is unsure by, or adds.
    readBackMs: Math.round(total((stretch) => stretch.readMs) / Math.max(1, paints) * 100) / 100,
    paintingMs: summary(stretches.flatMap((stretch) => stretch.roundTrips)).medianMs,
    wallOffsetMs: summary(stretches.map((stretch) => stretch.wallOffset)).medianMs,
  };
}
