// What was aimed at, beside what was measured.

const nativeOverFloor = 1.5;
const idleOverVnc = 1;
const busyOverVnc = 1 / 3;
const largestOverSmallest = 2;     // typing at 3840 × 2160 over typing at 1280 × 800
const stillCores = 0.005;          // half a percent: five steps of the clock in ten seconds
const fourStillOverOne = 1.1;
const slow = { medianMs: 80, p95Ms: 200, framesPerSecond: 15, pauseMs: 500 };

const verdict = (met) => (met ? 'met' : '**missed**');
const absent = (what, target) => [what, target, 'not measured', ''];
const ms = (value) => `${value.toFixed(1)} ms`;

function ratioRow(what, target, own, other, { unit = ms, text = `≤ ${target} ×` } = {}) {
  if (!own || !other) return absent(what, text);
  return [what, text, `${unit(own)} / ${unit(other)} = ${(own / other).toFixed(2)}`,
          verdict(own / other <= target)];
}

// Rows for a table: what, target, measured, verdict.
export function targetRows({ rows, floors }) {
  const find = (size, through, load, place = {}) => rows.find((row) => (
    row.size === size && row.through === through && row.load === load &&
    row.screens === place.screens && row.cable === place.cable));
  const median = (...which) => find(...which)?.shown.medianMs;
  const found = [];
  for (const size of Object.keys(floors)) {
    for (const load of ['idle', 'text', 'motion']) {
      found.push(ratioRow(`${size}, ${load}: a second computer over the floor`, nativeOverFloor,
        median(size, 'native', load), floors[size][load]?.floorMs));
    }
  }
  for (const size of new Set(rows.map((row) => row.size))) {
    found.push(ratioRow(`${size}, idle: a browser over VNC`, idleOverVnc,
      median(size, 'browser', 'idle'), median(size, 'vnc', 'idle')));
    for (const load of ['text', 'motion']) {
      found.push(ratioRow(`${size}, ${load}: a browser over VNC`, busyOverVnc,
        median(size, 'browser', load), median(size, 'vnc', load), { text: '≤ 1/3' }));
    }
  }
  for (const through of ['native', 'browser']) {
    found.push(ratioRow(`processor time of a small change, ${through}: 3840x2160 over 1280x800`,
      largestOverSmallest, find('3840x2160', through, 'idle')?.cpuMsPerFrame,
      find('1280x800', through, 'idle')?.cpuMsPerFrame));
  }
  const atRest = rows.filter(({ load, screens, cable }) => load === 'still' && !screens && !cable);
  for (const { size, through, cores } of atRest) {
    found.push([`${size}, at rest, ${through}`, 'next to nothing: ≤ 0.5 % of a core',
                `${(cores * 100).toFixed(2)} % of a core`, verdict(cores <= stillCores)]);
  }
  const still = (screens) => find('1280x800', 'browser', 'still', { screens })?.cores;
  found.push(ratioRow('four still screens over one', fourStillOverOne, still(4), still(1),
    { unit: (cores) => `${(cores * 100).toFixed(2)} %`, text: 'no more than one' }));
  for (const through of ['native', 'browser']) {
    const row = find('1920x1080', through, 'motion', { cable: 'slow cable' });
    const what = `slow cable, everything moves, ${through}`;
    const text = `median ≤ ${slow.medianMs} ms, 95th percentile ≤ ${slow.p95Ms} ms, ` +
      `≥ ${slow.framesPerSecond} frames/s, no pause > ${slow.pauseMs} ms`;
    if (!row) {
      found.push(absent(what, text));
      continue;
    }
    const { shown: { medianMs, p95Ms }, framesPerSecond, longestPauseMs } = row;
    found.push([what, text,
                `${ms(medianMs)}, ${ms(p95Ms)}, ${framesPerSecond} frames/s, ${longestPauseMs} ms`,
                verdict(medianMs <= slow.medianMs && p95Ms <= slow.p95Ms &&
                        framesPerSecond >= slow.framesPerSecond &&
                        longestPauseMs <= slow.pauseMs)]);
  }
  return found;
}
