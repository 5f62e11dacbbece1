// A house with three computers: `computer` runs the application, `server` the certificate service
// with its DNS, and `tablet` a browser that trusts the service's authority and asks its DNS.
import { mkdtempSync, rmSync } from 'node:fs';
import { existsSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Network, missing as missingNetwork } from '../hosts/network.mjs';
import { Application, missing as missingApplication } from '../support/application.mjs';
import { launchChromium, missing as missingChromium } from '../support/chromium.mjs';
import { Program, run, waitFor } from '../support/programs.mjs';
import { X11Desktop } from '../support/x11Desktop.mjs';

const service = fileURLToPath(new URL(
  '../../../tools/certificate-service/certificate-service', import.meta.url));
export const domain = 'home.arpa';

const tools = ['/usr/bin/certutil', '/usr/bin/openssl', '/usr/bin/python3'];
const missingTool = tools.find((tool) => !existsSync(tool));

// What is missing to have such a house, false when nothing is.
export const missing = missingChromium || X11Desktop.missing || missingApplication || missingNetwork ||
  (missingTool ? `there is no ${missingTool}` : false);

export class House {
  #network = new Network();
  #folder = mkdtempSync(join(tmpdir(), 'tessaline-house.'));
  #service;

  async start() {
    await this.#network.start();
    this.server = await this.#network.connect('server');
    this.computer = await this.#network.connect('computer');
    this.tablet = await this.#network.connect('tablet');
    await this.#startService();
    this.desktop = new X11Desktop({ within: this.computer.within });
    await this.desktop.start();
    // As a person who trusts an authority of their own would start it.
    this.desktop.environment.SSL_CERT_FILE = this.authority;
    this.application = new Application(this.desktop, 'main', {
      mode: 'main', onboarded: true, directDomain: domain, certificateInterval: 1,
      certificateServiceURL: `https://${this.server.address}:8443/api/`,
    });
    await this.application.start();
    await this.#startBrowser();
  }

  get authority() {
    return join(this.#folder, 'service', 'authority.pem');
  }

  // The application's own files.
  get dataFolder() {
    return join(this.desktop.environment.XDG_RUNTIME_DIR, 'home-main', 'data', 'Tessaline');
  }

  async #startService() {
    this.#service = new Program('setpriv', ['--pdeathsig', 'KILL', service, '--domain', domain,
      '--state', join(this.#folder, 'service'), '--name', this.server.address],
    { within: this.server.within });
    await waitFor('the certificate service', () => {
      if (this.#service.ended) throw new Error(this.#service.errors);
      return this.#service.errors.includes('ready');
    });
  }

  // A tablet whose owner did what the service's README says: trust, and the server as its DNS.
  async #startBrowser() {
    const { within } = this.tablet;
    const home = join(this.#folder, 'tablet');
    const database = `sql:${home}/.pki/nssdb`;
    await run('sh', ['-ec', `mkdir -p ${home}/.pki/nssdb
      certutil -d ${database} -N --empty-password
      certutil -d ${database} -A -t C,, -n home -i ${this.authority}
      echo nameserver ${this.server.address} >${home}/resolv.conf
      mount --bind ${home}/resolv.conf /etc/resolv.conf`], { within });
    this.browser = await launchChromium([], { within: [...within, 'env', `HOME=${home}`] });
  }

  // Waits until the link has this form, and returns it.
  awaitLink(form) {
    return waitFor(`a link like ${form}`, async () => {
      const { link } = await this.application.status();
      return form.test(link) && link;
    });
  }

  // The fingerprint of the certificate that is served on a port, checked against the authority.
  async servedCertificate(host, port) {
    const shown = await run('sh', ['-ec', `openssl s_client -connect ${host}:${port} \
      -verify_return_error -verify_hostname ${host} -CAfile ${this.authority} </dev/null |
      openssl x509 -noout -fingerprint -sha256`], { within: this.tablet.within });
    return shown.trim();
  }

  // Gives the computer another address, as another place in the network would.
  async move(address) {
    await run('sh', ['-ec', `ip address flush dev lan0 scope global
      ip address add ${address}/24 dev lan0`], { within: this.computer.within });
  }

  async stop() {
    await this.browser?.close();
    try {
      return await this.application?.end('SIGTERM');
    } finally {
      await this.desktop?.stop();
      await this.#service?.kill('SIGTERM');
      await this.#network.stop();
      rmSync(this.#folder, { recursive: true, force: true });
    }
  }
}
