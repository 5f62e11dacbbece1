// Who becomes an extra screen: a link's key, a person's answer, and what is remembered of it.
import assert from 'node:assert/strict';

import { waitFor } from '../support/programs.mjs';
import { type } from '../support/visitor.mjs';
import { testApplication, useApplication } from './harness.mjs';

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
