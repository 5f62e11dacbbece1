// What latency.mjs measured as one page of Markdown on standard output:
//   node report.mjs latency.json

import { existsSync, readFileSync } from 'node:fs';
import { availableParallelism, loadavg } from 'node:os';

import { targetRows } from './targets.mjs';

const measured = JSON.parse(readFileSync(process.argv[2], 'utf8'));

const loadNames = {
  still: 'at rest', idle: 'small changes', text: 'text scrolls', motion: 'everything moves',
  film: 'every picture is another',
  pointer: 'the pointer moves',
};
const subjectNames = {
  floor: 'the floor', native: 'a second computer', browser: 'a browser', vnc: 'VNC (Xtigervnc, noVNC)',
  'vnc-x0': 'VNC (X0tigervnc, noVNC)', 'vnc-x11': 'VNC (x11vnc, noVNC)',
};

const table = (head, rows) => [head, head.map(() => '---'), ...rows]
  .map((cells) => `| ${cells.join(' | ')} |`).join('\n');
const ms = (value) => (value === null || value === undefined ? '–' : value.toFixed(1));

function placeName({ size, screens, cable }) {
  return [size.replace('x', ' × '), screens && `${screens} at once`, cable].filter(Boolean)
    .join(', ');
}

// The floor stands before the rows that it is the floor of.
function rowsWithFloors() {
  const rows = [];
  let last = '';
  for (const row of measured.rows) {
    const floors = row.screens || row.cable ? {} : measured.floors[row.size] ?? {};
    if (row.size !== last && Object.keys(floors).length) {
      for (const [load, { floorMs }] of Object.entries(floors)) {
        rows.push({ size: row.size, through: 'floor', load, shown: { medianMs: floorMs } });
      }
    }
    last = row.size;
    rows.push(row);
  }
  return rows;
}

function tableRow(row) {
  const { shown, ages, framesPerSecond, bytesPerSecond, cpuMsPerFrame, cores } = row;
  const head = [placeName(row), loadNames[row.load], subjectNames[row.through]];
  if (row.through === 'floor') return [...head, ms(shown.medianMs), ...Array(8).fill('')];
  const busy = (cores * 100).toFixed(2);
  if (row.load === 'still') return [...head, ...Array(7).fill(''), busy, ''];
  return [...head, ms(shown.medianMs), ms(shown.p95Ms), ms(ages.medianMs), framesPerSecond,
          row.longestPauseMs, (bytesPerSecond / 1e6).toFixed(2), ms(cpuMsPerFrame), busy,
          shown.samples];
}

function stageTable() {
  const rows = [];
  for (const [size, loads] of Object.entries(measured.floors)) {
    for (const [load, { floorMs, ...stages }] of Object.entries(loads)) {
      rows.push([size.replace('x', ' × '), loadNames[load],
                 ...Object.values(stages).map(({ medianMs, p95Ms }) => (
                   `${medianMs.toFixed(2)} (${p95Ms.toFixed(2)})`)), floorMs.toFixed(2)]);
    }
  }
  if (rows.length === 0) return 'Not measured.';
  const [loads] = Object.values(measured.floors);
  const names = Object.keys(Object.values(loads)[0]).filter((name) => name !== 'floorMs');
  return table(['size', 'load', ...names, 'floor'], rows);
}

function machine() {
  const gpu = existsSync('/dev/dri') ? 'a GPU' : 'no GPU';
  const load = loadavg()[0].toFixed(1);
  return `${availableParallelism()} cores, ${gpu}, load average ${load} at the end`;
}

const missing = measured.missing.map(({ what, why }) => `- ${what}: not measured: ${why}\n`).join('');
const { rate, delay, loss } = measured.slowCable;

process.stdout.write(`# Measured on ${measured.date.slice(0, 10)}

${machine()}. Computers, network and browsers (headless Chromium,
which decodes on these cores) are all on this machine. \`bench/run\` measures and writes this page.

## Targets

${table(['what', 'target', 'measured', ''], targetRows(measured))}

## Everything

${table(['where', 'load', 'through', 'median ms', '95th percentile ms', 'age, median ms', 'frames/s',
         'longest pause ms', 'MB/s', 'processor ms a frame', '% of a core', 'samples'],
  rowsWithFloors().map(tableRow))}
${missing ? `\n${missing}` : ''}
- A painter changes a code on the display; the page's canvas, or the second computer's X server, is
  read back after each painting. Counted from right before the change is requested to the code's
  having been read. "age" also counts changes that never showed, until a newer one did. Where
  something moves the code is part of one of its frames, sixty of which are painted each second.
- The pointer goes to a second computer as datagrams, to a browser inside the stream: counted until
  it is drawn there.
- Processor time is the application's: of both computers for a second computer, of the serving one
  for a browser; with VNC that of the server, which is an X server as well, and its WebSocket bridge.
- Several screens at once: frames and bytes for each, processor time of all together.
- Slow cable: ${rate} Mbit/s, ${delay} ms each way, ${loss} % of packets lost, in both directions.
- From 2560 × 1440 on, pictures that move are coded at half the width and height once five in a row
  took longer than 25 ms whole; the floor has whole pictures at every size.
- The floor: grab, convert, encode and decode of one whole picture, each alone.

## What each stage costs, ms: median (95th percentile)

${stageTable()}
`);
