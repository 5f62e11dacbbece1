// GNOME's compositor without hardware: a Wayland desktop.
import { Desktop, missingOf, missingTestProgram, testProgram } from './desktop.mjs';
import { Dialogue } from './programs.mjs';

export class MutterDesktop extends Desktop {
  static missing = missingOf(['mutter', 'pipewire', 'wireplumber', 'dbus-daemon']) ||
    missingTestProgram('paint_areas', 'record_input', 'mutter_control');
  // What this kind of desktop cannot do, and why.
  static lacks = {
    capsLock: 'only Mutter itself could press a key',
    // In libmutter-clutter, for want of the view that the recording is of.
    monitorSwitch: 'Mutter 43 crashes when a display that somebody records is switched off',
    orphanDisplays: 'Mutter removes the displays of a program that dies',
    pointerPlace: 'Mutter tells where the pointer is only of monitors that are recorded',
    windowPlaces: 'Wayland tells no program where windows are, nor moves them for one',
  };

  // Taps are touches, which leave the pointer where it is.
  takesTouches = true;
  #control;

  constructor({ size = '1280x800' } = {}) {
    super(['--wayland', '--size', size], []);
  }

  async stop() {
    await this.#control?.close();
    await super.stop();
  }

  async monitors() {
    return JSON.parse(await this.#order('monitors'));
  }

  movePointer(monitor, x, y) {
    const scale = monitor.points ? monitor.scale : 1;
    const { name, x: left, y: top } = this.ownMonitor;
    return this.#order(
      `move ${name} ${monitor.x + x / scale - left} ${monitor.y + y / scale - top}`);
  }

  async #order(line) {
    this.#control ??= new Dialogue(
      this.launch(testProgram('mutter_control'), [], { input: 'pipe' }));
    const answer = await this.#control.ask(line);
    if (answer.startsWith('failed')) throw new Error(`${line}: ${answer}`);
    return answer;
  }
}
