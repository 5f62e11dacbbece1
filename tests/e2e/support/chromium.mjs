// Starts the machine's own Chromium for a test. Where it or the npm modules are missing, `missing`
// says what, and a test file hands that to its `skip`.
import { accessSync, constants } from 'node:fs';

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

// A headless browser; the caller closes it.
export async function launchChromium(extraFlags = []) {
  const root = process.getuid?.() === 0 ? ['--no-sandbox'] : [];
  return chromium.launch({
    executablePath, headless: true, args: [...flags, ...root, ...extraFlags],
  });
}
