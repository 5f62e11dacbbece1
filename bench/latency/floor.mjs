import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { runProgram } from './processes.mjs';

// What one picture costs on a computer from the X server to a decoded picture, each stage measured
// alone: by load, the stages' figures and their sum, `floorMs`.
export async function measureStages(build, computer, { width, height }, { frames, load }) {
  const folder = mkdtempSync(join(tmpdir(), 'tessaline-floor.'));
  const file = join(folder, 'stages.json');
  try {
    await runProgram(`${build}/bench_stages`, ['--size', `${width}x${height}`, '--frames', `${frames}`,
      ...(load ? ['--load', load] : []), '--json', file], { computer });
    return JSON.parse(readFileSync(file, 'utf8'));
  } finally {
    rmSync(folder, { recursive: true });
  }
}
