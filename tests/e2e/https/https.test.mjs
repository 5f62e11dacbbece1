// A tablet's way from nothing to an encrypted extra screen, in a house of its own, and what becomes
// of it when the certificate is renewed and when the computer's address changes.
import assert from 'node:assert/strict';
import { rmSync } from 'node:fs';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';

import { patience, waitFor } from '../support/programs.mjs';
import { expectNextColour } from '../support/testCard.mjs';
import { Visitor } from '../support/visitor.mjs';
import { House, domain, missing } from './house.mjs';

if (missing) console.log(`SKIPPED: ${missing}`);

const size = { width: 800, height: 600 };
const house = new House();
let visitor;
let served;  // fingerprints, by port

const hostOf = (link) => new URL(link).hostname;
const direct = (address) => new RegExp(
  `^https://${address.replaceAll('.', '-')}\\.[a-z0-9]{12}\\.direct\\.${domain}:7790/#k=`);

function testHouse(name, body) {
  test(name, { skip: missing, timeout: 90_000 * patience }, body);
}

async function becomeScreen(link) {
  const opened = await Visitor.open(house.browser, link, { viewport: size });
  await opened.tap();
  await house.application.answer(await opened.deviceID(), 'allow');
  await opened.awaitPicture(size);
  return opened;
}

async function expectPicture() {
  const [monitor] = await house.desktop.awaitExtraMonitors(size);
  await expectNextColour(house.desktop, monitor, visitor);
}

if (!missing) {
  before(() => house.start());
  afterEach((context) => {
    if (context.error) console.error(house.application?.log);
  });
  after(async () => {
    await visitor?.close();
    assert.equal(await house.stop(), 0);
  });
}

testHouse('the page comes over HTTPS that the tablet trusts, and streams over wss', async () => {
  const link = await house.awaitLink(direct(house.computer.address));
  await waitFor('listeners with the certificate', async () => {
    served = [await house.servedCertificate(hostOf(link), 7790),
              await house.servedCertificate(hostOf(link), 7791)];
    return true;
  });
  assert.equal(served[0], served[1]);
  assert.equal((await house.application.status()).encrypted, true);

  visitor = await becomeScreen(link);
  assert.ok(await visitor.page.evaluate(() => isSecureContext));
  assert.match(visitor.connection.url, /^wss:\/\/.*:7791\//);
  await expectPicture();
});

testHouse('a renewed certificate is served without a restart, and the picture goes on', async () => {
  const { connection } = visitor;
  rmSync(join(house.dataFolder, 'tls-cert.pem'));
  const host = hostOf(visitor.page.url());
  for (const [index, port] of [7790, 7791].entries()) {
    await waitFor(`another certificate on port ${port}`, async () => (
      await house.servedCertificate(host, port) !== served[index]));
  }
  await expectPicture();
  assert.ok(connection.open);
  assert.equal(visitor.connection, connection, 'the renewal has cut the connection');

  await visitor.page.reload();
  await visitor.tap();
  await visitor.awaitPicture(size);
  await expectPicture();
  assert.equal((house.application.log.match(/certificate: issued/g) ?? []).length, 2);
});

testHouse('an address change leads to another name, and the tablet finds it', async () => {
  const before = visitor;
  const address = house.computer.address.replace(/\d+$/, '51');
  await house.move(address);
  const link = await house.awaitLink(direct(address));
  assert.equal(hostOf(link).split('.')[1], hostOf(before.page.url()).split('.')[1]);
  await before.close();
  await waitFor('the end of the old session', async () => (
    (await house.application.status()).screens.length === 0), { seconds: 30 });
  visitor = await becomeScreen(link);
  await expectPicture();
  assert.equal((house.application.log.match(/certificate: issued/g) ?? []).length, 2,
    'the same certificate serves the new name');
});
