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

// Which of the painter's two places the pointer was seen at, as the moves that led there.
function movesOf(marks, probe) {
  const moves = [...marks];
  let next = 0;
  const codes = [];
  for (const [place, at] of probe.codes) {
    let move = null;
    while (next < moves.length && moves[next][1] <= at + probe.wallOffset) {
      if (moves[next][0] % 2 === place) [move] = moves[next];
      next++;
    }
    if (move !== null) codes.push([move, at]);
  }
  return { ...probe, codes };
}

// The longest time between two pictures, in ms.
function longestPause(probe, from, to) {
  const times = probe.paints.map((at) => at + probe.wallOffset).filter((at) => at > from && at < to);
  return times.slice(1).reduce((longest, at, i) => Math.max(longest, at - times[i]), 0);
}

// One stretch of one load on a subject, which has the `computer` that it lends a screen to, the
// `bounds` of the picture there, a `watcher` that sees where the picture arrives, `processIds()`,
// and `check()`, which throws when it has stopped working.
export async function measure(subject, painterProgram, { load, codeEvery, caption, seconds }) {
  const painter = new Painter(painterProgram, subject.computer, subject.bounds);
  painter.start(load, { codeEvery, caption });
  try {
    await sleep(warmUp);
    await subject.watcher.start(load);
    const from = Date.now();
    const cpuBefore = cpuSeconds(subject.processIds());
    await sleep(seconds * 1000);
    const cpu = cpuSeconds(subject.processIds()) - cpuBefore;
    const to = Date.now();
    await subject.check();
    const taken = await subject.watcher.take();
    const probe = load === 'pointer' ? movesOf(painter.marks, taken) : taken;
    const took = (to - from) / 1000;
    return {
      ...latencies(painter.marks, probe, from, to),
      paints: probe.paints.length, frames: probe.frames ?? probe.paints.length,
      pause: longestPause(probe, from, to), unreadable: probe.unreadable, bytes: probe.bytes,
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
  const frames = total((stretch) => stretch.frames);
  return {
    shown: summary(stretches.flatMap((stretch) => stretch.shown)),
    ages: summary(stretches.flatMap((stretch) => stretch.ages)),
    longestPauseMs: Math.round(Math.max(...stretches.map((stretch) => stretch.pause))),
    cpuMsPerFrame: frames ? Math.round(total((stretch) => stretch.cpuSeconds) / frames * 1e5) / 100
      : null,
    framesPerSecond: Math.round(paints / seconds * 10) / 10,
    bytesPerSecond: Math.round(total((stretch) => stretch.bytes) / seconds),
    cores: Math.round(total((stretch) => stretch.cpuSeconds) / seconds * 1e5) / 1e5,
    unreadableShare: paints ? total((stretch) => stretch.unreadable) / paints : null,
    // What the measurement itself is unsure by, or adds.
    readBackMs: Math.round(total((stretch) => stretch.readMs) / Math.max(1, paints) * 100) / 100,
    paintingMs: summary(stretches.flatMap((stretch) => stretch.roundTrips)).medianMs,
    wallOffsetMs: summary(stretches.map((stretch) => stretch.wallOffset)).medianMs,
  };
}

// Stretches that several screens of one application had at the same time: frames and bytes are those
// of one screen, on average, the processor time is that of all.
export function combineAtOnce(stretches) {
  const combined = combine(stretches);
  const { cpuMsPerFrame } = combined;
  return { ...combined, cpuMsPerFrame: cpuMsPerFrame === null ? null
    : Math.round(cpuMsPerFrame / stretches.length * 100) / 100 };
}
