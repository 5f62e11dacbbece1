// Touches and typing on a browser's screen reach the program under them, and the pointer returns.
import assert from 'node:assert/strict';
import { afterEach } from 'node:test';

import { pause, waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const recorders = [];

const size = { width: 800, height: 600 };
const home = { x: 211, y: 307 };  // where the computer's own pointer stands meanwhile
const longPress = 700;            // ms, beyond the page's 550

// An X program that tells every button and key it receives.
class Recorder {
  constructor({ x, y }) {
    this.program = tools.desktop.launch('xev', ['-geometry', `700x500+${x + 50}+${y + 50}`],
      { env: { LC_ALL: 'C.UTF-8' } });
  }

  async started() {
    await waitFor('the window of xev', () => /MapNotify/.test(this.program.output));
  }

  // All buttons and keys so far: 'press 1 at x,y', 'key Return'. Text as a program sees it is in
  // `typed`.
  get events() {
    const form = new RegExp([
      /Button(Press|Release) event.*\n.*root:\((\d+),(\d+)\).*\n.*button (\d+)/,
      /Key(Press) event.*\n.*\n.*state 0x([0-9a-f]+).*keysym 0x[0-9a-f]+, (\w+)\)/,
    ].map(({ source }) => source).join('|'), 'g');
    return [...this.program.output.matchAll(form)].map((match) => (match[1]
      ? `${match[1].toLowerCase()} ${match[4]} at ${match[2]},${match[3]}`
      : `key ${parseInt(match[6], 16) & 4 ? 'Control+' : ''}${match[7]}`));
  }

  get typed() {
    const form = /KeyPress event[^]*?XmbLookupString gives \d+ bytes:(?: \(([0-9a-f ]+)\))?/g;
    const bytes = [...this.program.output.matchAll(form)]
      .flatMap((match) => (match[1] ?? '').split(' ').filter(Boolean));
    return Buffer.from(bytes.join(''), 'hex').toString('utf8');
  }

  forget() {
    this.program.output = '';
  }
}

async function pointer() {
  const place = await tools.desktop.run('xdotool', ['getmouselocation']);
  const [, x, y] = /x:(\d+) y:(\d+)/.exec(place);
  return { x: +x, y: +y };
}

async function pointerReturns() {
  let at;
  await waitFor('the return of the pointer', async () => {
    at = await pointer();
    return at.x === home.x && at.y === home.y;
  }).catch(({ message }) => { throw new Error(`${message}: ${JSON.stringify(at)}`); });
}

async function touchScreen() {
  // On a desktop without a tray the menu is a window, which takes the focus when it comes.
  await waitFor('the status menu', () => (
    tools.desktop.run('xdotool', ['search', '--onlyvisible', '--name', '^Tessaline$'])));
  const visitor = await tools.becomeScreen(size, { hasTouch: true });
  const session = await visitor.context.newCDPSession(visitor.page);
  visitor.touch = (type, ...points) => session.send('Input.dispatchTouchEvent', {
    type, touchPoints: points.map(([x, y], id) => ({ x, y, id })),
  });
  visitor.tapAt = async (x, y) => {
    await visitor.touch('touchStart', [x, y]);
    await visitor.touch('touchEnd');
  };
  const recorder = new Recorder(visitor.monitor);
  recorders.push(recorder);
  await recorder.started();
  await tools.desktop.movePointer(home.x, home.y);
  await pause(200);  // the window manager settles the new window
  recorder.forget();
  return { visitor, recorder };
}

afterEach(() => Promise.all(recorders.splice(0).map(({ program }) => program.kill('SIGTERM'))));

testApplication('fingers tap, press, drag and pinch where they touch', async () => {
  const { visitor, recorder } = await touchScreen();
  const { x, y } = visitor.monitor;
  const clicks = (button, count, left, top) => Array.from({ length: count }, () => [
    `press ${button} at ${x + left},${y + top}`, `release ${button} at ${x + left},${y + top}`,
  ]).flat();

  const cases = [
    ['a tap', async () => visitor.tapAt(300, 250), clicks(1, 1, 300, 250)],
    ['a double tap', async () => {
      await pause(400);
      await visitor.tapAt(310, 260);
      await visitor.tapAt(310, 260);
    }, clicks(1, 2, 310, 260)],  // programs count clicks by time: a third would make it a triple
    ['a long press', async () => {
      await visitor.touch('touchStart', [320, 270]);
      await pause(longPress);
      await visitor.touch('touchEnd');
    }, clicks(3, 1, 320, 270)],
  ];
  for (const [name, act, expected] of cases) {
    recorder.forget();
    await act();
    await waitFor(name, () => recorder.events.length >= expected.length)
      .catch(({ message }) => assert.fail(`${message}: ${recorder.events}`));
    assert.deepEqual(recorder.events, expected, name);
    await pointerReturns();
  }

  // The content follows the finger: down turns the wheel towards the top.
  recorder.forget();
  await visitor.touch('touchStart', [400, 200]);
  for (let at = 220; at <= 400; at += 20) await visitor.touch('touchMove', [400, at]);
  await visitor.touch('touchEnd');
  await waitFor('scrolling', () => recorder.events.length >= 6);
  assert.ok(recorder.events.every((event) => / 4 at /.test(event)), `${recorder.events}`);
  await pointerReturns();

  recorder.forget();
  await visitor.touch('touchStart', [350, 300], [450, 300]);
  for (let spread = 0; spread <= 40; spread += 10) {
    await visitor.touch('touchMove', [350 - spread, 300], [450 + spread, 300]);
  }
  await visitor.touch('touchEnd');
  await waitFor('zooming', () => recorder.events.some((event) => /Control\+(plus|equal|KP_Add)/.test(event)))
    .catch(({ message }) => assert.fail(`${message}: ${recorder.events}`));
  await pointerReturns();
});

testApplication('what is typed arrives in any script, and keys by their names', async () => {
  const { visitor, recorder } = await touchScreen();
  await visitor.tapAt(300, 250);  // gives the window the keyboard focus
  await pointerReturns();
  recorder.forget();
  // The page gives up its field when it hears that the computer has none with the focus.
  await waitFor('the state of the focus', () => visitor.connection.counts[type.textFocus] > 0);
  const field = visitor.page.locator('#ti');
  await field.focus();

  const text = 'Grüße, 你好! שלום e\u0301 👍🏽 ~@{€}';
  await visitor.page.keyboard.insertText(text);
  await waitFor('the text', () => recorder.typed === text)
    .catch(({ message }) => assert.fail(`${message}: "${recorder.typed}"`));
  recorder.forget();
  const names = { Enter: 'Return', Backspace: 'BackSpace', Tab: 'Tab', Escape: 'Escape',
                  ArrowLeft: 'Left', ArrowRight: 'Right', ArrowUp: 'Up', ArrowDown: 'Down' };
  for (const name of Object.keys(names)) await visitor.page.keyboard.press(name);
  await waitFor('the keys', () => recorder.events.length >= 8)
    .catch(({ message }) => assert.fail(`${message}: ${recorder.events}`));
  assert.deepEqual(recorder.events, Object.values(names).map((name) => `key ${name}`));
  assert.deepEqual(await pointer(), home, 'typing does not move the pointer');
});

testApplication('the keyboard button shows while a text field on this screen has the focus', async () => {
  const { visitor } = await touchScreen();
  const { x, y } = visitor.monitor;
  const button = visitor.page.locator('#kb');
  const offered = (wanted) => waitFor(`keyboard button: ${wanted}`, async () => (
    await button.isVisible() === wanted), { seconds: 20 });
  await offered(false);

  const dialog = tools.desktop.launch('zenity', ['--entry', '--title', 'Field'],
    { env: { GTK_MODULES: 'gail:atk-bridge', NO_AT_BRIDGE: '0' } });
  const find = () => tools.desktop.run('xdotool', ['search', '--name', '^Field$']);
  const window = (await waitFor('the dialog', find)).trim().split('\n').at(-1);
  const move = (left, top) => (
    tools.desktop.run('xdotool', ['windowmove', '--sync', window, `${left}`, `${top}`]));
  // Accessibility comes up in its own time, and until then no program tells what gets the focus.
  const focusAgain = async () => {
    for (const name of ['^Tessaline$', '^Field$']) {
      await tools.desktop.run('xdotool', ['search', '--onlyvisible', '--limit', '1',
        '--name', name, 'windowfocus', '--sync']);
    }
  };
  try {
    await move(x + 100, y + 100);
    await waitFor('keyboard button: true', async () => {
      await focusAgain();
      return button.isVisible();
    }, { every: 800 });
    await move(100, 100);
    await offered(false);
  } finally {
    await dialog.kill('SIGTERM');
  }
});
