import { existsSync } from 'node:fs';
import { createRequire } from 'node:module';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { installProbe } from './pageProbe.mjs';

const root = join(dirname(fileURLToPath(import.meta.url)), '..', '..');
const codePlace = { x: 16, y: 16 };  // of the painter's code in its window

function playwright() {
  const folder = process.env.TESSALINE_NODE_FOLDER ?? join(root, 'tests', 'e2e');
  try {
    return createRequire(join(folder, 'package.json'))('playwright-core');
  } catch {
    throw new Error(`playwright-core is missing: npm ci in ${folder}`);
  }
}

// A headless Chromium of its own with one page of `size`, which the probe watches from its start.
export async function openBrowser(size) {
  const executablePath = process.env.CHROMIUM ??
    ['/usr/bin/chromium', '/usr/bin/google-chrome'].find(existsSync);
  if (!executablePath) throw new Error('Chromium is missing (Debian package chromium)');
  const { chromium } = playwright();
  const browser = await chromium.launch({
    executablePath,
    args: ['--no-sandbox', '--disable-background-timer-throttling',
           '--disable-renderer-backgrounding', '--disable-backgrounding-occluded-windows'],
  });
  const context = await browser.newContext({ viewport: size, deviceScaleFactor: 1 });
  await context.addInitScript(installProbe, codePlace);
  const page = await context.newPage();
  return { browser, page };
}
