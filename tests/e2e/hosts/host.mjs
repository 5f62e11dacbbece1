// One computer of a network: a desktop, a system bus and an Avahi of its own.
import { missingOf } from '../support/desktop.mjs';
import { Program, run, waitFor } from '../support/programs.mjs';
import { X11Desktop } from '../support/x11Desktop.mjs';
import { missing as missingNetwork } from './network.mjs';

// Not where X servers look: they hang for a while when it dies.
const systemBus = '/run/bus';
const busAddress = { DBUS_SYSTEM_BUS_ADDRESS: `unix:path=${systemBus}` };

// What is missing to have such computers, false when nothing is.
export const missing = missingOf(['avahi-daemon', 'avahi-publish', 'dbus-daemon', 'setpriv']) ||
  X11Desktop.missingPrograms || missingNetwork;

export class Host {
  #bus;
  #avahi;

  constructor(name) {
    this.name = name;
  }

  // `size` is that of its monitor.
  async start(network, size) {
    ({ within: this.within, address: this.address, port: this.port } =
      await network.connect(this.name));
    this.desktop = new X11Desktop({ within: this.within, size });
    // Avahi gives its folder to a user of its own; namespaces of an ordinary user have but one.
    await this.sh(`for file in passwd group; do
        sed -E 's/^(avahi:[^:]*):[0-9]+(:[0-9]+)?/\\1:0\\2/' /etc/$file >/run/$file
        mount --bind /run/$file /etc/$file
      done
      printf '%s\\n' '[server]' host-name=${this.name} allow-interfaces=lan0 use-ipv4=yes \
        use-ipv6=yes >/run/avahi.conf`);
    await Promise.all([this.desktop.start(), this.startServices()]);
    Object.assign(this.desktop.environment, busAddress);
  }

  async startServices() {
    // One user is all that there is: the rules of a session serve.
    this.#bus = this.#serve('dbus-daemon', '--session', '--nofork', '--nopidfile',
      `--address=unix:path=${systemBus}`);
    await waitFor('a system bus', () => this.sh(`test -S ${systemBus}`).then(() => true));
    this.#avahi = this.#serve('avahi-daemon', '--file=/run/avahi.conf', '--no-drop-root',
      '--no-chroot', '--no-rlimits');
    await waitFor('Avahi', () => {
      if (this.#avahi.ended) throw new Error(this.#avahi.errors);
      return this.#avahi.errors.includes('Server startup complete');
    });
  }

  // As crashes would end them.
  async killServices() {
    await this.#bus?.kill('SIGKILL');
    await this.#avahi?.kill('SIGKILL');
    await this.sh(`rm -f ${systemBus} /run/avahi-daemon/pid /run/avahi-daemon/socket`);
  }

  hangAvahi() {
    this.#avahi.child.kill('SIGSTOP');
  }

  // A program that offers what screens do, under a name of its own, for as long as it runs.
  offer(name, port) {
    return this.#serve('avahi-publish', '-s', name, '_tessaline._tcp', `${port}`);
  }

  async stop() {
    await this.desktop?.stop();
    await this.#bus?.kill('SIGKILL');
    await this.#avahi?.kill('SIGKILL');
  }

  // Ends with this process, whatever ends that.
  #serve(command, ...args) {
    return new Program('setpriv', ['--pdeathsig', 'KILL', command, ...args],
      { within: this.within, env: {
        ...process.env, ...busAddress, PATH: `${process.env.PATH}:/usr/sbin`,
      } });
  }

  sh(script) {
    return run('sh', ['-ec', script], { within: this.within });
  }
}
