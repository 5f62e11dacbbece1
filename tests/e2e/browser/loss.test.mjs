// A compositor that dies while it has an extra display.
import assert from 'node:assert/strict';

import { testApplication, useApplication } from './harness.mjs';

const tools = useApplication();

testApplication('a compositor that dies ends the application at once, with one line', async () => {
  const { application, desktop } = tools;
  await tools.becomeScreen({ width: 800, height: 600 });
  const reply = await desktop.run('dbus-send', ['--session', '--print-reply',
    '--dest=org.freedesktop.DBus', '/', 'org.freedesktop.DBus.GetConnectionUnixProcessID',
    'string:org.gnome.Mutter.DisplayConfig']);
  process.kill(Number(/uint32 (\d+)/.exec(reply)[1]), 'SIGKILL');
  assert.equal(await application.ending(), 1);
  assert.equal(application.log.match(/the desktop has gone|the Wayland compositor die/g)?.length, 1);
});
