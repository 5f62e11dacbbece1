// Who becomes an extra screen: a link's key, a person's answer, in a terminal too, and what is
// remembered of it.
import assert from 'node:assert/strict';

import { testProgram } from '../support/desktop.mjs';
import { see, waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { connects, openSocket, ports, testApplication, useApplication } from './harness.mjs';

const tools = useApplication();
const size = { width: 800, height: 600 };

const pending = async () => (await tools.application.status()).pending;

testApplication('a wrong key is refused without a question', async () => {
  const { application, desktop } = tools;
  const link = application.link.replace(/k=.*/, 'k=zzzzzzzzzzzzzzzzzzzz');
  const visitor = await tools.visit({ link });
  await visitor.tap();
  await visitor.awaitPanel('Not allowed');
  // A question that had been asked would still be open: nobody has answered it.
  assert.deepEqual(await pending(), []);
  assert.deepEqual(await desktop.extraMonitors(), []);
  assert.match(application.log, /refused .*out of date/);

  // The right link in the same tab makes up for it.
  await visitor.page.goto(application.link);
  await visitor.awaitPanel('Tap to start');
  await visitor.tap();
  await application.answer(await visitor.deviceID(), 'allow');
  await visitor.awaitPicture(size);
});

testApplication('a denied device gets no display and is asked about again', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.visit();
  for (let attempt = 0; attempt < 2; ++attempt) {
    await visitor.tap();
    await visitor.awaitPanel('Waiting for your Mac to allow this Browser');
    await application.answer(await visitor.deviceID(), 'deny');
    await visitor.awaitPanel('Not allowed');
    assert.equal(visitor.connection.counts[type.denied], 1);
  }
  assert.deepEqual(await desktop.extraMonitors(), []);
});

testApplication('a device is asked about once, and remembered, also by the next run', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.becomeScreen(size);
  const id = await visitor.deviceID();
  assert.deepEqual(await pending(), []);
  assert.ok(id in application.storedDefaults.approvedDevices);
  await visitor.page.close();
  await desktop.awaitExtraMonitors();

  // The question would keep the picture away: nobody answers one here.
  await visitor.openPage(application.link);
  await visitor.tap();
  await visitor.awaitPicture(size);
  await visitor.page.close();
  await desktop.awaitExtraMonitors();

  assert.equal(await application.end('SIGTERM'), 0);
  const before = application.link;
  await application.start();
  assert.equal(application.link, before, 'a link on a home screen stays right');
  await visitor.openPage(application.link);
  await visitor.tap();
  await visitor.awaitPicture(size);

  const other = await tools.visit();
  await other.tap();
  await waitFor('the question about another device', async () => (await pending()).length === 1);
  await application.answer(await other.deviceID(), 'deny');
});

testApplication('a question outlives the page that asked, and its answer makes no display', async () => {
  const { application, desktop } = tools;
  const visitor = await tools.visit();
  const id = await visitor.deviceID();
  await visitor.tap();
  await waitFor('the question', async () => (await pending()).length === 1);
  // A second page of the same device is the same question.
  await visitor.openPage(application.link);
  await visitor.tap();
  await visitor.awaitPanel('Waiting for your Mac');
  await waitFor('both connections', async () => (
    (await application.status()).screens.length === 2));
  assert.equal((await pending()).length, 1);
  for (const page of visitor.context.pages()) await page.close();
  await waitFor('the end of both connections', async () => (
    (await application.status()).screens.length === 0));

  await application.answer(id, 'allow');
  assert.deepEqual(await pending(), []);
  assert.deepEqual(await desktop.extraMonitors(), []);
  await visitor.openPage(application.link);
  await visitor.tap();
  await visitor.awaitPicture(size);
});

// A device that says no more than who it is; the question about it.
function ask(name, id = name) {
  const socket = openSocket(tools.application, { id, name });
  socket.on('error', () => {});
  tools.visitors.push({ errors: [], close: () => socket.terminate() });
  return waitFor(`the question about ${name}`, async () => (
    (await pending()).find(({ device }) => device === id)));
}

testApplication('tessalinectl answers the device that is meant', async () => {
  const { application } = tools;
  const control = (...args) => application.control(...args).catch(({ message }) => message);
  assert.match(await control('allow'), /failed \(1\)/, 'nobody asks');
  const one = await ask('One');
  assert.equal(await control('allow'), `allowed: ${one.name}\n`);

  // A device may call itself anything, also the number of another one's question.
  const impostor = await ask('Impostor', `#${one.prompt + 2}`);
  const two = await ask('Two', 'two\x1b[31m');
  assert.equal(two.prompt, one.prompt + 2);
  assert.ok((await control('status')).includes(`#${two.prompt}  ${two.name}  (two?[31m)`));
  assert.match(await control('allow'), /failed \(1\)/, 'two ask, and none is named');
  assert.match(await control('deny', 'nobody'), /failed \(1\)/);
  assert.equal((await pending()).length, 2);
  assert.equal(await control('deny', `#${two.prompt}`), `not allowed: ${two.name}\n`);
  assert.equal(await control('allow', `#${impostor.prompt}`), `allowed: ${impostor.name}\n`);
  assert.deepEqual(await pending(), []);
});

testApplication('the console answers with single keys, and leaves the terminal as it was', async () => {
  const { application } = tools;
  const early = await ask('Early');
  const shell = application.launch('script', ['-qfec',
    'trap : INT; stty -g; $ctl console; echo code=$?; stty -g; echo again; $ctl console', '/dev/null'],
  { input: 'pipe', env: { ctl: testProgram('tessalinectl') } });
  const shows = (text) => see(`"${text}"`, () => shell.output, (seen) => seen.includes(text));
  const press = (keys) => shell.child.stdin.write(keys);
  await shows(early.question);
  press('xa');
  await shows(`allowed: ${early.name}`);
  const late = await ask('Late');
  await shows(late.question);
  press('d');
  await shows(`not allowed: ${late.name}`);
  await shows((await ask('Third')).question);
  await application.control('allow');
  await shows('(answered elsewhere)');

  press('\x03');
  await shows('code=130');
  await see('the end of the shell\'s settings', () => shell.output.split('again\r\n')[1],
    (second) => second?.includes('q ends'));
  const [before, after] = shell.output.match(/^[0-9a-f]+(:[0-9a-f]+){9,}/gm);
  assert.equal(after, before);
  press('q');
  assert.equal(await shell.ending(), 0);
  assert.match(shell.output, /Tessaline has ended\./);
  assert.equal(await application.ending(), 0);
});

testApplication('the console needs no terminal, and ends with the application', async () => {
  const { application } = tools;
  const watcher = application.launch(testProgram('tessalinectl'), ['console']);
  const { prompt } = await ask('Anna');
  await see('the question', () => watcher.output,
    (seen) => seen.includes(`tessalinectl allow '#${prompt}'`));
  assert.equal(await application.end('SIGTERM'), 0);
  assert.equal(await watcher.ending(), 3);
  assert.match(watcher.output, /Tessaline has ended\./);
});

testApplication('without a session bus, and when it dies, the application goes on', async () => {
  const { application, desktop } = tools;
  const { link } = application;
  assert.equal(await application.end('SIGTERM'), 0);
  const bus = desktop.launch('dbus-daemon', ['--session', '--nofork', '--print-address=1']);
  await waitFor('a session bus', () => bus.output.endsWith('\n'));
  for (const address of [bus.output.trim(), 'unix:path=/nonexistent']) {
    const program = application.launch(undefined, [], { env: { DBUS_SESSION_BUS_ADDRESS: address } });
    await waitFor('its ports', () => connects(ports.socket));
    await bus.kill('SIGKILL');
    const visitor = await tools.visit({ link });
    await visitor.tap();
    await visitor.awaitPanel('Waiting for your Mac to allow this Browser');
    assert.equal(await program.kill('SIGTERM'), 0);
  }
});
