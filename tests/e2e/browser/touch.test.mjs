// Touches and typing on a browser's screen reach the program under them, and the pointer returns.
import assert from 'node:assert/strict';
import { afterEach } from 'node:test';

import { testScript } from '../support/desktop.mjs';
import { pause, see, waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { has, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const recorders = [];

const size = { width: 800, height: 600 };
const home = { x: 211, y: 307 };  // where the computer's own pointer stands meanwhile
const longPress = 700;            // ms, beyond the page's 550
const tolerance = 2;              // pixels between where the pointer is and where it is drawn

// A program that covers the monitor and tells all input that it receives.
class Recorder {
  constructor({ name }) {
    this.program = tools.desktop.launch(testScript('record_input'), [name],
      { input: 'pipe', env: { QT_LINUX_ACCESSIBILITY_ALWAYS_ON: '1' } });
  }

  order(line) {
    this.program.child.stdin.write(`${line}\n`);
  }

  get #lines() {
    return this.program.output.split('\n').slice(0, -1);
  }

  get focused() {
    return this.#lines.includes('focus');
  }

  // All buttons, touches, wheel turns and keys so far: 'press left at x,y', 'key Return'.
  get events() {
    return this.#lines.filter((line) => !/^(focus|text)/.test(line));
  }

  // What its field holds.
  get text() {
    const lines = this.#lines.filter((line) => line.startsWith('text '));
    return lines.length ? JSON.parse(lines.at(-1).slice('text '.length)) : '';
  }

  awaitEvents(what, count) {
    return see(what, () => this.events, (events) => events.length >= count);
  }

  forget() {
    this.program.output = '';
  }
}

// The pointer's home is off the screen, or on it where nobody tells where the pointer is elsewhere.
class HomePointer {
  #visitor;
  #monitor;

  constructor(visitor) {
    this.#visitor = visitor;
    this.#monitor = has('pointerPlace') ? tools.desktop.ownMonitor : visitor.monitor;
  }

  async send() {
    await tools.desktop.movePointer(this.#monitor, home.x, home.y);
    await this.isThere();
  }

  // `hidden`: the desktop may have hidden it, as some do while fingers touch.
  isThere({ hidden = false } = {}) {
    return see('the return of the pointer', () => (has('pointerPlace')
      ? tools.desktop.pointerFrom(this.#monitor) : this.#visitor.pointer()), (at) => (at
      ? Math.abs(at.x - home.x) <= tolerance && Math.abs(at.y - home.y) <= tolerance : hidden));
  }
}

async function touchScreen() {
  // It would take the focus from the recorder.
  await waitFor('the menu, a window here', () => /no tray/.test(tools.application.log));
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
  await waitFor('the recorder to have the focus', () => recorder.focused);
  const pointer = new HomePointer(visitor);
  await pause(200);  // the window manager settles the new window
  await pointer.send();
  recorder.forget();
  return { visitor, recorder, pointer };
}

afterEach(() => Promise.all(recorders.splice(0).map(({ program }) => program.kill('SIGTERM'))));

testApplication('fingers tap, press, drag and pinch where they touch', async () => {
  const { visitor, recorder, pointer } = await touchScreen();
  const repeated = (count, ...events) => Array(count).fill(events).flat();
  const taps = (count, x, y) => (tools.desktop.takesTouches
    ? repeated(count, `touch at ${x},${y}`, `lift at ${x},${y}`)
    : repeated(count, `press left at ${x},${y}`, `release left at ${x},${y}`));

  const cases = [
    ['a tap', async () => visitor.tapAt(300, 250), taps(1, 300, 250)],
    ['a double tap', async () => {
      await pause(400);
      await visitor.tapAt(310, 260);
      await visitor.tapAt(310, 260);
    }, taps(2, 310, 260)],  // programs count clicks by time: a third would make it a triple
    ['a long press', async () => {
      await visitor.touch('touchStart', [320, 270]);
      await pause(longPress);
      await visitor.touch('touchEnd');
    }, ['press right at 320,270', 'release right at 320,270']],
  ];
  for (const [name, act, expected] of cases) {
    await pointer.send();
    recorder.forget();
    await act();
    await recorder.awaitEvents(name, expected.length);
    assert.deepEqual(recorder.events, expected, name);
    await pointer.isThere({ hidden: tools.desktop.takesTouches });
  }

  // The content follows the finger: down turns the wheel towards the top.
  await pointer.send();
  recorder.forget();
  await visitor.touch('touchStart', [400, 200]);
  for (let at = 220; at <= 400; at += 20) await visitor.touch('touchMove', [400, at]);
  await visitor.touch('touchEnd');
  await recorder.awaitEvents('scrolling', 3);
  assert.ok(recorder.events.every((event) => event.startsWith('wheel up at ')),
    `${recorder.events}`);
  await pointer.isThere();

  recorder.forget();
  await visitor.touch('touchStart', [350, 300], [450, 300]);
  for (let spread = 0; spread <= 40; spread += 10) {
    await visitor.touch('touchMove', [350 - spread, 300], [450 + spread, 300]);
  }
  await visitor.touch('touchEnd');
  await see('zooming', () => recorder.events,
    (events) => events.some((event) => /Control\+(Plus|Equal)/.test(event)));
  await pointer.isThere();
});

testApplication('what is typed arrives in any script, and keys by their names', async () => {
  const { visitor, recorder, pointer } = await touchScreen();
  await visitor.tapAt(300, 250);  // gives the window the keyboard focus
  await pointer.isThere({ hidden: tools.desktop.takesTouches });
  // The page gives up its field when it hears that the computer has none with the focus.
  await waitFor('the state of the focus', () => visitor.connection.counts[type.textFocus] > 0);
  const field = visitor.page.locator('#ti');
  await field.focus();

  // More than any keyboard has keys to lend.
  const many = String.fromCodePoint(...Array.from({ length: 80 }, (_, index) => 0x4e00 + index));
  const text = `Grüße, 你好! שלום e\u0301 👍🏽 ~@{€} ${many}`;
  await visitor.page.keyboard.insertText(text);
  await see('the text', () => recorder.text, (seen) => seen === text);
  if (has('capsLock')) {
    await tools.desktop.run('xdotool', ['key', 'Caps_Lock']);
    await visitor.page.keyboard.insertText(' aZ éЖßặ');
    await see('the capitals', () => recorder.text, (seen) => seen === `${text} aZ éЖßặ`);
    await tools.desktop.run('xdotool', ['key', 'Caps_Lock']);
  }
  recorder.forget();
  const names = { Enter: 'Return', Backspace: 'Backspace', Tab: 'Tab', Escape: 'Escape',
                  ArrowLeft: 'Left', ArrowRight: 'Right', ArrowUp: 'Up', ArrowDown: 'Down' };
  for (const name of Object.keys(names)) await visitor.page.keyboard.press(name);
  await recorder.awaitEvents('the keys', 8);
  assert.deepEqual(recorder.events, Object.values(names).map((name) => `key ${name}`));
  await pointer.isThere({ hidden: tools.desktop.takesTouches });
});

const offered = async (visitor, wanted) => waitFor(`keyboard button: ${wanted}`, async () => (
  await visitor.page.locator('#kb').isVisible() === wanted));

testApplication('the keyboard button shows while a text field that was touched has the focus', async () => {
  const { visitor, recorder } = await touchScreen();
  await visitor.tapAt(300, 250);
  // Accessibility comes up in its own time, and until then no program tells what gets the focus.
  await waitFor('keyboard button: true', async () => {
    recorder.order('leave');
    recorder.order('enter');
    return visitor.page.locator('#kb').isVisible();
  }, { every: 800 });
  recorder.order('leave');
  await offered(visitor, false);
  recorder.order('enter');
  await offered(visitor, true);

  // A program that hangs holds nobody up, and its field counts no more.
  recorder.program.child.kill('SIGSTOP');
  await offered(visitor, false);
  recorder.program.child.kill('SIGCONT');
  await offered(visitor, true);
});

testApplication('the keyboard button hides while the text field is on another monitor', async () => {
  const visitor = await tools.becomeScreen(size, { hasTouch: true });
  const { x, y } = visitor.monitor;
  await offered(visitor, false);

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
      return visitor.page.locator('#kb').isVisible();
    }, { every: 800 });
    await move(100, 100);
    await offered(visitor, false);
  } finally {
    await dialog.kill('SIGTERM');
  }
}, { needs: 'windowPlaces' });
