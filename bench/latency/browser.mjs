import { launchChromium, missing } from '../../tests/e2e/support/chromium.mjs';
import { installProbe } from './pageProbe.mjs';

export const codePlace = { x: 16, y: 16 };  // of the painter's code in its window

// A page out of sight is a page that people would see: it is not to be slowed down.
const flags = ['--disable-background-timer-throttling', '--disable-renderer-backgrounding',
               '--disable-backgrounding-occluded-windows'];

// A headless Chromium of its own with one page of `size`, which a probe watches from its start.
export async function openBrowser(size, { within } = {}) {
  if (missing) throw new Error(missing);
  const browser = await launchChromium(flags, { within });
  const context = await browser.newContext({ viewport: size, deviceScaleFactor: 1 });
  await context.addInitScript(installProbe, codePlace);
  const page = await context.newPage();
  const watcher = {
    start: () => page.evaluate(() => window.tessalineProbe.start()),
    take: () => page.evaluate(() => window.tessalineProbe.take()),
  };
  return { browser, page, watcher };
}
