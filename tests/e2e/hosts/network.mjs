// Several computers on this one machine: each has network, mount and host-name namespaces of its
// own and one cable to a common switch, which has namespaces of its own as well. Nothing of the
// machine's own network is touched, and all of it is gone when this process is, however it ends.
import { execFileSync } from 'node:child_process';
import { existsSync } from 'node:fs';
import { fileURLToPath } from 'node:url';

import { Program, run, waitFor } from '../support/programs.mjs';

const subnet = '10.77.0';
const switchAddress = 99;       // the last byte of the switch's own address
const isRoot = process.getuid() === 0;
// Somebody else than root becomes root of a user namespace first, where the system allows that.
const asRoot = isRoot ? [] : ['--user', '--map-root-user'];
const cableProgram = fileURLToPath(new URL('slow_cable.py', import.meta.url));

function findMissing() {
  try {
    execFileSync('unshare', [...asRoot, '--net', '--mount', '--uts', 'sh', '-c',
      'mount -t tmpfs tmpfs /run && ip link add name try type bridge && ' +
      'ip link add name a type veth peer name b && hostname try'],
      { stdio: ['ignore', 'ignore', 'pipe'] });
    return false;
  } catch (error) {
    return `namespaces with a network cannot be made here: ${error.stderr?.toString().trim() ||
      error.message}`;
  }
}

// What is missing to have a network, false when nothing is.
export const missing = findMissing();

// Whether cables can be slow, and if not, why.
export const slowCableMissing = existsSync('/dev/net/tun') ? false : 'there is no /dev/net/tun';

// A process that does nothing but keep its namespaces, until its input ends.
async function keepNamespaces(within, script) {
  const keeper = new Program('unshare', [
    ...(within.length ? [] : asRoot), '--net', '--mount', '--uts', 'sh', '-ec',
    `ip link set lo up; echo 0 >/proc/sys/net/ipv6/conf/default/accept_dad; ${script}
     echo ready; exec cat`], { input: 'pipe', within });
  await waitFor('namespaces', () => {
    if (keeper.ended) throw new Error(keeper.errors.trim());
    return keeper.output.startsWith('ready');
  });
  return keeper;
}

// The words that put a command into the namespaces of `keeper`.
const enter = (keeper) => ['nsenter', `--target=${keeper.child.pid}`,
                           ...(isRoot ? [] : ['--user', '--preserve-credentials']),
                           '--net', '--mount', '--uts', '--'];

export class Network {
  #switch;
  #keepers = [];
  #connected = 0;
  #cable = null;

  async start() {
    this.#switch = await keepNamespaces([],
      `ip link add name near type bridge mcast_snooping 0
       ip link set near up
       ip address add ${subnet}.${switchAddress}/24 dev near`);
    this.within = enter(this.#switch);
  }

  // Namespaces for one more computer, connected to the switch. Answers the words to put before its
  // commands, its address, and the name of the switch's port that its cable is in.
  async connect(hostName) {
    const number = ++this.#connected;
    const keeper = await keepNamespaces(this.within,
      `hostname '${hostName}'
       mount -t tmpfs -o mode=755 tmpfs /run
       mkdir -p -m 1777 /tmp/.X11-unix
       mount -t tmpfs -o mode=1777 tmpfs /tmp/.X11-unix`);
    this.#keepers.push(keeper);
    const within = enter(keeper);
    const port = `port${number}`;
    const address = `${subnet}.${number}`;
    await this.#sh(`ip link add ${port} type veth peer name lan0 netns ${keeper.child.pid}
      ip link set ${port} master near up`);
    await run('sh', ['-ec', `ip address add ${address}/24 dev lan0; ip link set lan0 up`],
      { within });
    return { within, address, port };
  }

  pull(port) { return this.#sh(`ip link set ${port} down`); }
  plugIn(port) { return this.#sh(`ip link set ${port} up`); }

  // Makes the cable of one computer slow: megabits per second, milliseconds each way, per cent of
  // packets lost. Frames take the way through a program instead of the switch.
  async slowDown(port, { rate, delay, loss }) {
    this.#cable = new Program(cableProgram, [`${rate}`, `${delay}`, `${loss}`, 'nearEnd', 'farEnd'],
      { input: 'pipe', within: this.within });
    await waitFor('the slow cable', () => {
      if (this.#cable.ended) throw new Error(this.#cable.errors.trim());
      return this.#cable.output.startsWith('ready');
    });
    await this.#sh(`ip link add name far type bridge mcast_snooping 0
      ip link set far up
      ip link set nearEnd master near up
      ip link set farEnd master far up
      ip link set ${port} master far`);
  }

  async restoreSpeed(port) {
    await this.#sh(`ip link set ${port} master near; ip link delete far`);
    await this.#endCable();
  }

  async stop() {
    await this.#endCable();
    for (const keeper of [...this.#keepers.reverse(), this.#switch]) {
      keeper?.child.stdin.end();
      await keeper?.ending();
    }
  }

  async #endCable() {
    this.#cable?.child.stdin.end();
    await this.#cable?.ending();
    this.#cable = null;
  }

  #sh(script) {
    return run('sh', ['-ec', script], { within: this.within });
  }
}
