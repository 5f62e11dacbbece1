// Xorg with spare outputs and a window manager.
import { existsSync } from 'node:fs';

import { Desktop, inPath, missingOf, missingModules } from './desktop.mjs';

export class X11Desktop extends Desktop {
  // What is missing to have such a desktop, false when nothing is; and to paint on it too.
  static missingPrograms = !existsSync('/usr/lib/xorg/Xorg') && !inPath('Xorg')
    ? 'Xorg is not installed' : missingOf(['xrandr', 'xdotool', 'openbox', 'dbus-daemon']);
  static missing = X11Desktop.missingPrograms || missingModules('PyQt6');
  static lacks = { scales: 'X has one scale for all monitors' };

  // Taps are clicks of the mouse.
  takesTouches = false;

  constructor({ within = [], size = '1280x800' } = {}) {
    super(['--size', size], within);
  }

  async monitors() {
    const lines = (await this.run('xrandr', ['--listmonitors'])).split('\n');
    const form = /^\s*\d+:\s+[+*]*(.+?)\s+(\d+)\/\d+x(\d+)\/\d+\+(\d+)\+(\d+)\s*(\S*)/;
    return lines.map((line) => form.exec(line)).filter(Boolean)
      .map(([, name, width, height, x, y, output]) => (
        { name, width: +width, height: +height, x: +x, y: +y, scale: 1, output }));
  }

  movePointer(monitor, x, y) {
    return this.run('xdotool', ['mousemove', `${monitor.x + x}`, `${monitor.y + y}`]);
  }

  // Where the pointer is, as seen from a monitor.
  async pointerFrom(monitor) {
    const place = await this.run('xdotool', ['getmouselocation']);
    const [, x, y] = /x:(\d+) y:(\d+)/.exec(place);
    return { x: x - monitor.x, y: y - monitor.y };
  }

  switchOff(monitor) {
    return this.run('xrandr', ['--output', monitor.output, '--off']);
  }
}
