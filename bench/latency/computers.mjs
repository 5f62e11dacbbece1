import { Host, missing as missingHost } from '../../tests/e2e/hosts/host.mjs';
import { Network } from '../../tests/e2e/hosts/network.mjs';
import { X11Desktop } from '../../tests/e2e/support/x11Desktop.mjs';

export { missingHost };

const sizeText = ({ width, height }) => `${width}x${height}`;

// Two computers and the cable between them, or one desktop where there can be no second one:
// `computer` is where the application runs (see startProgram), `screen` the other host or nothing.
export async function makeComputers(mainSize, screenSize) {
  if (missingHost) {
    const desktop = new X11Desktop({ size: sizeText(mainSize) });
    await desktop.start();
    return { computer: { environment: desktop.environment }, stop: () => desktop.stop() };
  }
  const network = new Network();
  const [main, screen] = [new Host('desk'), new Host('living-room')];
  const stop = async () => {
    await Promise.allSettled([main.stop(), screen.stop()]);
    await network.stop();
  };
  try {
    await network.start();
    await Promise.all([main.start(network, sizeText(mainSize)),
                       screen.start(network, sizeText(screenSize))]);
  } catch (error) {
    await stop();
    throw error;
  }
  const computer = { environment: main.desktop.environment, within: main.within };
  return { computer, screen, network, stop };
}
