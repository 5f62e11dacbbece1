import { launchChromium, missing } from '../../tests/e2e/support/chromium.mjs';
import { installProbe } from './pageProbe.mjs';

export const codePlace = { x: 16, y: 16 };  // of the painter's code in its window

// A page out of sight is a page that people would see: it is not to be slowed down.
const flags = ['--disable-background-timer-throttling', '--disable-renderer-backgrounding',
               '--disable-backgrounding-occluded-windows'];

// A headless Chromium of its own with one page of `size`, which a probe watches from its start.
// `trusted` is an address without encryption that the page may decode video at all the same.
export async function openBrowser(size, { within } = {}, trusted = '') {
  if (missing) throw new Error(missing);
  const browser = await launchChromium(
    trusted ? [...flags, `--unsafely-treat-insecure-origin-as-secure=${trusted}`] : flags,
    { within });
  // Without a scale the application sends no more than 2560 pixels across.
  const scale = size.scale ?? 1;
  const viewport = { width: size.width / scale, height: size.height / scale };
  const context = await browser.newContext({ viewport, deviceScaleFactor: scale });
  await context.addInitScript(installProbe, { ...codePlace, width: size.width });
  const page = await context.newPage();
  const watcher = {
    start: (load) => page.evaluate((what) => window.tessalineProbe.start(what), load),
    take: () => page.evaluate(() => window.tessalineProbe.take()),
  };
  return { browser, page, watcher };
}
