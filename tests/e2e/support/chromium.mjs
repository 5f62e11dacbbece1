// Starts the machine's own Chromium for a test. Where it or the npm modules are missing, `missing`
// says what, and a test file hands that to its `skip`.
import { accessSync, constants, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const executablePath = process.env.CHROMIUM || '/usr/bin/chromium';

// What a test does not need is off: background traffic would make runs differ.
const flags = [
  '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync',
];

async function load() {
  try {
    accessSync(executablePath, constants.X_OK);
  } catch {
    return { missing: `no Chromium at ${executablePath} (set CHROMIUM)` };
  }
  try {
    await import('ws');
    return { chromium: (await import('playwright-core')).chromium };
  } catch {
    return { missing: 'node modules are missing: run "npm ci" in tests/e2e' };
  }
}

const { chromium, missing: reason } = await load();
if (reason) console.log(`SKIPPED: ${reason}`);

// What is missing to run a browser, false when nothing is.
export const missing = reason ?? false;

// A headless browser; the caller closes it. `within` are words that lead a command elsewhere.
export async function launchChromium(extraFlags = [], { within = [] } = {}) {
  const root = process.getuid?.() === 0 || within.length ? ['--no-sandbox'] : [];
  const folder = mkdtempSync(join(tmpdir(), 'tessaline-chromium.'));
  const script = join(folder, 'chromium');
  writeFileSync(script, `#!/bin/sh\nexec ${within.join(' ')} ${executablePath} "$@"\n`,
    { mode: 0o700 });
  try {
    return await chromium.launch({
      executablePath: within.length ? script : executablePath, headless: true,
      args: [...flags, ...root, ...extraFlags],
    });
  } finally {
    rmSync(folder, { recursive: true });
  }
}
