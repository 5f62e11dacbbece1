// Measures, in one run, how long a change on an X display takes until it is seen on another screen,
// and what that costs: at several sizes, with several screens at once, over a slow cable; beside it
// the floor, and a VNC server with a browser client. Rows that cannot be measured say why.
//
//   node bench/latency/latency.mjs [--parts sizes,screens,slow] [--sizes 1280x800,…] [--out FILE]

import { writeFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { parseArgs } from 'node:util';

import { slowCableMissing } from '../../tests/e2e/hosts/network.mjs';
import { Application, BrowserScreen } from './application.mjs';
import { makeComputers, missingHost } from './computers.mjs';
import { measureStages } from './floor.mjs';
import { combine, combineAtOnce, measure } from './measure.mjs';
import { NativeScreen } from './nativeScreen.mjs';
import { endOnSignals, stopAllPrograms } from './processes.mjs';
import { OwnServer, ScrapingServer, X11vncServer } from './vncServer.mjs';

// Without a scale the application sends no more than 2560 pixels across.
const allSizes = [{ width: 1280, height: 800 }, { width: 1920, height: 1080 },
                  { width: 2732, height: 2048, scale: 2 }, { width: 3840, height: 2160, scale: 2 }];
const [smallest, usual] = allSizes;
const mainSize = smallest;  // small, so that extra displays have room on the X screen
const codeEvery = { still: 1000, idle: 100, text: 100, motion: 100, film: 100, pointer: 100 };  // ms
const movingLoads = ['idle', 'text', 'motion', 'pointer'];
const screensAtOnce = [1, 2, 4];
const slowCable = { rate: 20, delay: 20, loss: 1 };  // Mbit/s, ms each way, per cent
const stillSeconds = 10;  // enough of what happens once a second
const vncServers = { vnc: OwnServer, 'vnc-x0': ScrapingServer, 'vnc-x11': X11vncServer };

const { values: options } = parseArgs({
  options: {
    build: { type: 'string', default: 'build/release' },
    parts: { type: 'string', default: 'sizes,screens,slow' },
    sizes: { type: 'string', default: allSizes.map(nameOf).join(',') },
    subjects: { type: 'string', default: 'native,browser,vnc' },
    loads: { type: 'string', default: movingLoads.join(',') },
    seconds: { type: 'string', default: '6' },
    frames: { type: 'string', default: '120' },
    out: { type: 'string' },
  },
});
options.build = resolve(options.build);
const [parts, sizes, subjects, loads] = ['parts', 'sizes', 'subjects', 'loads']
  .map((name) => options[name].split(','));

const results = { date: new Date().toISOString(), slowCable, floors: {}, rows: [], missing: [] };
const tell = (text) => process.stderr.write(`${text}\n`);

function nameOf({ width, height }) {
  return `${width}x${height}`;
}

function note(what, why) {
  results.missing.push({ what, why });
  tell(`${what}: not measured: ${why}`);
}

// What fails is a row that says so; the rest is measured all the same.
async function attempt(what, work) {
  try {
    await work();
  } catch (error) {
    note(what, error.message.split('\n')[0]);
  }
}

function record(place, through, load, figures) {
  results.rows.push({ ...place, through, load, ...figures });
  const { shown, framesPerSecond, longestPauseMs, cores, cpuMsPerFrame } = figures;
  const where = [place.size, place.screens && `${place.screens} screens`, place.cable]
    .filter(Boolean).join(' ');
  const cost = `${(cores * 100).toFixed(1)} % of a core`;
  tell(`${where.padEnd(20)} ${load.padEnd(8)} ${through.padEnd(8)} ${load === 'still' ? cost
    : `median ${shown.medianMs} ms, 95th percentile ${shown.p95Ms} ms, ${framesPerSecond} ` +
      `frames/s, pause ${longestPauseMs} ms, ${cpuMsPerFrame} ms a frame, ${cost}`}`);
}

function playOne(subject, load, caption) {
  return measure(subject, `${options.build}/painter`, {
    load, codeEvery: codeEvery[load], caption: `${caption}, ${load}`,
    seconds: load === 'still' ? stillSeconds : Number(options.seconds),
  });
}

async function play(place, through, subject, which) {
  for (const load of which) {
    await attempt(`${nameOf(subject.bounds)}, ${through}, ${load}`, async () => {
      record(place, through, load, combine([await playOne(subject, load, through)]));
    });
  }
}

// Starts a subject, measures it, ends it.
async function visit(place, through, subject, size, which) {
  if (!subjects.includes(through)) return;
  await attempt(`${place.size}, ${through}`, async () => {
    try {
      await subject.start(size);
      await play(place, through, subject, which);
    } finally {
      await subject.stop();
    }
  });
}

// `work` gets two computers and the application running on the first.
async function withComputers(screenSize, work) {
  const computers = await makeComputers(mainSize, screenSize);
  const application = new Application({ ...options, computer: computers.computer });
  try {
    await application.launch({ mode: 'main' });
    await work(application, computers);
  } catch (error) {
    if (application.log) tell(application.log);
    throw error;
  } finally {
    await application.stop();
    await computers.stop();
  }
}

async function measureSize(size) {
  const place = { size: nameOf(size) };
  const own = loads.filter((load) => movingLoads.includes(load));
  const wanted = subjects.includes('native') && loads.includes('still') ? ['still', ...own] : own;
  await attempt(place.size, () => withComputers(size, async (application, { screen }) => {
    if (screen) {
      const there = { environment: screen.desktop.environment, within: screen.within };
      await attempt(`${place.size}, floor`, async () => {
        results.floors[place.size] =
          await measureStages(options.build, there, size, { frames: options.frames });
      });
      await visit(place, 'native', new NativeScreen(options, application, screen, undefined,
        size.scale), size, wanted);
    } else {
      note(`${place.size}, native and floor`, missingHost);
    }
    await visit(place, 'browser', new BrowserScreen(application), size, wanted);
  }));
  for (const [name, Server] of Object.entries(vncServers)) {
    if (!subjects.includes(name)) continue;
    const lacking = Server.missing();
    if (lacking.length) note(`${place.size}, ${name}`, `missing: ${lacking.join(', ')}`);
    // Its pointer is the browser's own.
    else await visit(place, name, new Server(), { ...size, scale: 1 },
      own.filter((load) => load !== 'pointer'));
  }
}

async function measureScreens() {
  const which = ['still', ...loads.filter((load) => load === 'idle' || load === 'motion')];
  await withComputers(smallest, async (application) => {
    const screens = [];
    try {
      for (const count of screensAtOnce) {
        while (screens.length < count) {
          const screen = new BrowserScreen(application);
          await screen.start(smallest);
          screens.push(screen);
        }
        for (const load of which) {
          const stretches = await Promise.all(
            screens.map((screen, number) => playOne(screen, load, `screen ${number + 1}`)));
          record({ size: nameOf(smallest), screens: count }, 'browser', load,
            combineAtOnce(stretches));
        }
      }
    } finally {
      for (const screen of screens) await screen.stop();
    }
  });
}

async function measureSlowCable() {
  const reason = missingHost || slowCableMissing;
  if (reason) return note('slow cable', reason);
  const place = { size: nameOf(usual), cable: 'slow cable' };
  // What moves takes little of this cable, a film more than all of it.
  const which = loads.includes('motion') ? [...new Set([...loads, 'film'])] : loads;
  await withComputers(usual, async (application, { screen, network }) => {
    const native = new NativeScreen(options, application, screen);
    const browser = new BrowserScreen(application, undefined, screen);
    try {
      for (const subject of [native, browser]) await subject.start(usual);
      await network.slowDown(screen.port, slowCable);
      if (subjects.includes('native')) await play(place, 'native', native, which);
      if (subjects.includes('browser')) await play(place, 'browser', browser, which);
    } finally {
      await browser.stop();
      await native.stop();
    }
  });
}

async function run() {
  const lacking = [...Application.missing(options), ...NativeScreen.missing(options)];
  if (lacking.length) throw new Error(`not built: ${lacking.join(', ')}`);
  if (parts.includes('sizes')) {
    for (const size of allSizes) if (sizes.includes(nameOf(size))) await measureSize(size);
  }
  if (parts.includes('screens')) await attempt('several screens at once', measureScreens);
  if (parts.includes('slow')) await attempt('slow cable', measureSlowCable);
}

endOnSignals();
try {
  await run();
  const text = JSON.stringify(results, null, 2);
  if (options.out) writeFileSync(options.out, `${text}\n`);
  else process.stdout.write(`${text}\n`);
} catch (error) {
  tell(`latency: ${error.message}`);
  process.exitCode = 1;
} finally {
  await stopAllPrograms();
}
