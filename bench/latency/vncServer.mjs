import { existsSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { openBrowser } from './browser.mjs';
import { freePort, listens, startProgram, stopProgram, waitFor } from './processes.mjs';

const pageFolder = '/usr/share/novnc';
const desktopScript = join(dirname(fileURLToPath(import.meta.url)), '../../scripts/desktop');

// The baseline: a VNC server behind websockify, and noVNC with its default quality in the browser.
// Each subclass starts one server and knows the computer for clients of its display.
class VncServer {
  // What is not installed, by its Debian package.
  static missing() {
    const needed = { ...this.needs, '/usr/bin/websockify': 'websockify',
                     [`${pageFolder}/vnc.html`]: 'novnc' };
    return Object.keys(needed).filter((file) => !existsSync(file)).map((file) => needed[file]);
  }

  programs = [];

  async start(size) {
    this.bounds = { x: 0, y: 0, ...size };
    const port = await freePort();
    await this.startServer(size, port);
    await waitFor(`${this.constructor.title} to listen`, () => listens(port));
    const webPort = await freePort();
    this.run('websockify', ['--web', pageFolder, `127.0.0.1:${webPort}`, `127.0.0.1:${port}`]);
    const address = `http://127.0.0.1:${webPort}/vnc.html`;
    await waitFor('the start of websockify', async () => (await fetch(address)).ok);

    ({ browser: this.browser, page: this.page, watcher: this.watcher } = await openBrowser(size));
    await this.page.goto(`${address}?autoconnect=1&resize=off&reconnect=0`);
    await this.page.waitForSelector('#noVNC_container canvas', { state: 'visible' });
  }

  run(command, args, options) {
    const program = startProgram(command, args, options);
    this.programs.push(program);
    return program;
  }

  processIds() {
    return this.programs.map((program) => program.child.pid);
  }

  async check() {
    for (const program of this.programs.filter(({ ended }) => ended)) {
      throw new Error(`${program.name} ended (${await program.end}): ${program.errors.trim()}`);
    }
  }

  async stop() {
    await this.browser?.close();
    for (const program of this.programs.reverse()) await stopProgram(program);
  }
}

// An X server that speaks VNC itself: it knows every change from the drawing and grabs nothing.
// No screen of an existing desktop can be served this way; it is the fastest that VNC can be.
export class OwnServer extends VncServer {
  static title = 'VNC, its own X server (Xtigervnc)';
  static needs = { '/usr/bin/Xtigervnc': 'tigervnc-standalone-server' };

  async startServer({ width, height }, port) {
    let display = '';
    this.run('Xtigervnc', [
      '-displayfd', '1', '-geometry', `${width}x${height}`, '-depth', '24',
      '-rfbport', String(port), '-localhost', '-SecurityTypes', 'None', '-nolisten', 'tcp',
    ], { lines: (line) => { display ||= line.trim(); } });
    await waitFor('the start of Xtigervnc', () => display);
    this.computer = { environment: { DISPLAY: `:${display}` } };
  }
}

// A server that grabs the pixels of a display of another X server, as the application does. The
// display is like the one that the application works on, and nothing else grabs it.
class GrabbingServer extends VncServer {
  async startServer({ width, height }, port) {
    let answer = '';
    this.run(desktopScript, ['--empty', '--size', `${width}x${height}`, '--', 'sh', '-c',
                             'echo "$DISPLAY $XAUTHORITY"; exec sleep infinity'],
      { lines: (line) => { answer ||= line; } });
    await waitFor('the start of a private desktop', () => answer);
    const [DISPLAY, XAUTHORITY] = answer.split(' ');
    this.computer = { environment: { DISPLAY, XAUTHORITY } };
    this.startGrabber(port);
  }
}

export class ScrapingServer extends GrabbingServer {
  static title = 'VNC, grabbing like the application (X0tigervnc)';
  static needs = { '/usr/bin/X0tigervnc': 'tigervnc-scraping-server' };

  startGrabber(port) {
    this.run('X0tigervnc', ['-rfbport', String(port), '-localhost',
                            '-SecurityTypes', 'None'], { computer: this.computer });
  }
}

export class X11vncServer extends GrabbingServer {
  static title = 'VNC, grabbing like the application (x11vnc)';
  static needs = { '/usr/bin/x11vnc': 'x11vnc' };

  startGrabber(port) {
    this.run('x11vnc', ['-rfbport', String(port), '-localhost', '-nopw',
                        '-forever', '-shared', '-quiet', '-noxrecord'],
      { computer: this.computer });
  }
}
