// GNOME's compositor without hardware: a Wayland desktop.
import { Desktop, missingModules, missingOf, testScript } from './desktop.mjs';
import { Dialogue } from './programs.mjs';

export class MutterDesktop extends Desktop {
  static missing = missingOf(['mutter', 'pipewire', 'wireplumber', 'dbus-daemon', 'busctl']) ||
    missingModules('PyQt6', 'gi');
  // What this kind of desktop cannot do, and why.
  static lacks = {
    capsLock: 'only Mutter itself could press a key',
    monitorPlaces: 'no command moves monitors of Mutter',
    // In libmutter-clutter, for want of the view that the recording is of.
    monitorSwitch: 'Mutter 43 crashes when a display that somebody records is switched off',
    orphanDisplays: 'Mutter removes the displays of a program that dies',
    pointerPlace: 'Mutter tells where the pointer is only of monitors that are recorded',
    windowPlaces: 'Wayland tells no program where windows are, nor moves them for one',
  };

  // Taps are touches, which leave the pointer where it is.
  takesTouches = true;
  #mouse;

  constructor({ size = '1280x800' } = {}) {
    super(['--wayland', '--size', size], []);
  }

  async stop() {
    await this.#mouse?.close();
    await super.stop();
  }

  async monitors() {
    const { data: [, monitors, logical, properties] } = JSON.parse(await this.run('busctl',
      ['--user', '--json=short', 'call', 'org.gnome.Mutter.DisplayConfig',
       '/org/gnome/Mutter/DisplayConfig', 'org.gnome.Mutter.DisplayConfig', 'GetCurrentState']));
    const points = properties['layout-mode']?.data === 1;  // places on the desktop are not pixels
    // No two of these tests' monitors show the same: a group is one monitor.
    return logical.map(([x, y, scale, , , [[name]]]) => {
      const [, modes] = monitors.find(([[connector]]) => connector === name);
      const [, width, height] = modes.find((mode) => 'is-current' in mode[6]);
      return { name, x, y, width, height, scale, points };
    });
  }

  async movePointer(monitor, x, y) {
    const scale = monitor.points ? monitor.scale : 1;
    const { name, x: left, y: top } = this.ownMonitor;
    this.#mouse ??= new Dialogue(
      this.launch(testScript('mutter_mouse'), [name], { input: 'pipe' }));
    await this.#mouse.ask(`${monitor.x + x / scale - left} ${monitor.y + y / scale - top}`);
  }
}
