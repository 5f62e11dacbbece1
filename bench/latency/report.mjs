// The measured files as one page of Markdown on standard output:
//   node report.mjs stages.json latency.json

import { existsSync, readFileSync } from 'node:fs';
import { availableParallelism, loadavg } from 'node:os';

const [stages, latency] = process.argv.slice(2)
  .map((file) => JSON.parse(readFileSync(file, 'utf8')));

const targets = { idle: 1.2, motion: 0.4 };  // application's median over the VNC server's
const stillTarget = 1;                       // per cent of one core
const loadNames = {
  idle: 'idle: one small change now and then',
  text: 'busy: a page of text scrolls',
  motion: 'busy: everything moves, 60 times a second',
};

const table = (head, rows) => [head, head.map(() => '---'), ...rows]
  .map((cells) => `| ${cells.join(' | ')} |`).join('\n');
const ms = (value) => (value === null || value === undefined ? '–' : value.toFixed(1));
const verdict = (met) => (met ? 'met' : '**missed**');

function stageTable() {
  const loads = Object.keys(stages);
  const names = Object.keys(stages[loads[0]]).filter((name) => name !== 'floorMs');
  const cell = ({ medianMs, p95Ms }) => `${medianMs.toFixed(2)} (${p95Ms.toFixed(2)})`;
  return table(['stage, ms: median (95th percentile)', ...loads], [
    ...names.map((name) => [name, ...loads.map((load) => cell(stages[load][name]))]),
    ['**floor**: grab, convert, encode, decode of whole pictures',
     ...loads.map((load) => `**${stages[load].floorMs.toFixed(2)}**`)],
  ]);
}

function latencyTable() {
  const rows = [];
  for (const [load, name] of Object.entries(loadNames)) {
    for (const { title, loads } of Object.values(latency.subjects)) {
      const figures = loads[load];
      if (!figures) continue;
      rows.push([name, title, ms(figures.shown.medianMs), ms(figures.shown.p95Ms),
                 ms(figures.ages.medianMs), figures.framesPerSecond,
                 (figures.bytesPerSecond / 1e6).toFixed(2), figures.cores.toFixed(2),
                 figures.shown.samples]);
    }
  }
  return table(['load', 'through', 'median ms', '95th percentile ms', 'age, median ms',
                'frames/s', 'MB/s', 'cores', 'samples'], rows);
}

function targetTable() {
  const { application, vnc } = latency.subjects;
  const rows = Object.entries(targets).map(([load, target]) => {
    const own = application?.loads[load]?.shown.medianMs;
    const other = vnc?.loads[load]?.shown.medianMs;
    if (!own || !other) return [loadNames[load], `≤ ${target} × VNC`, 'not measured', '–'];
    const ratio = own / other;
    return [loadNames[load], `≤ ${target} × VNC`,
            `${ms(own)} ms / ${ms(other)} ms = ${ratio.toFixed(2)}`, verdict(ratio <= target)];
  });
  const still = application?.loads.still?.cores;
  rows.push(['a still screen', `< ${stillTarget} % of one core`,
             still === undefined ? 'not measured' : `${(still * 100).toFixed(2)} %`,
             still === undefined ? '–' : verdict(still * 100 < stillTarget)]);
  return table(['what', 'target', 'measured', ''], rows);
}

function machine() {
  const gpu = existsSync('/dev/dri') ? 'a GPU' : 'no GPU';
  const load = loadavg()[0].toFixed(1);
  return `${availableParallelism()} cores, ${gpu}, load average ${load} at the end`;
}

const missing = Object.entries(latency.missing ?? {})
  .map(([name, what]) => `Not measured: ${name}; missing: ${what.join(', ')}.\n`).join('');
const { width, height } = latency.size;

process.stdout.write(`# Measured on ${latency.date.slice(0, 10)}

${width} × ${height}, ${machine()}; the browser (headless Chromium) runs on the same machine.
\`bench/run\` measures and writes this page.

## Targets

${targetTable()}

## From the X server to the canvas

A painter changes a code on the display; the page's canvas is read back after each painting, by the
same clock. Counted from right before the change is requested to the code's having been read. "age"
also counts changes that never showed, until a newer one did. The subjects take turns.

${latencyTable()}
${missing}
## What each stage costs

${stageTable()}
`);
