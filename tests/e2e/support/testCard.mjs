// What tests paint on a monitor to tell colour, place and orientation from what they see of it.
import { see } from './programs.mjs';

const tolerance = 12;  // of 255, each component: what coding costs

// Whether a colour ('rrggbb') is the other one, within what coding costs if nothing else is said.
export const isNear = (seen, colour, within = tolerance) => [0, 2, 4].every((at) => (
  Math.abs(parseInt(colour.slice(at, at + 2), 16) - parseInt(seen.slice(at, at + 2), 16)) <=
    within));

// Areas to paint, and places with the colours to be seen there: a red area, a green one, a grey one,
// and each corner in a colour of its own.
export function testCard({ width, height }) {
  const side = 24;
  const corner = (x, y, colour) => ({ x, y, width: side, height: side, colour });
  const areas = [
    { x: 0, y: 0, width, height, colour: 'ffffff' },
    { x: 100, y: 60, width: 160, height: 120, colour: 'd02020' },
    { x: width - 300, y: 80, width: 120, height: 160, colour: '20a040' },
    { x: 140, y: height - 200, width: 200, height: 100, colour: '808080' },
    corner(0, 0, '2040c0'), corner(width - side, 0, 'e0c020'),
    corner(0, height - side, '000000'), corner(width - side, height - side, '20c0c0'),
  ];
  const places = areas.slice(1).map((area) => (
    { x: area.x + (area.width >> 1), y: area.y + (area.height >> 1), colour: area.colour }));
  return { areas, places: [{ x: width >> 1, y: height >> 1, colour: 'ffffff' }, ...places] };
}

// Waits until places, each with a colour, look right to whoever tells the colours there.
export function awaitColours(colours, wanted, options) {
  return see(`the colours ${JSON.stringify(wanted)}`, () => colours(wanted),
    (seen) => wanted.every(({ colour }, index) => isNear(seen[index], colour)), options);
}

// Fills a monitor with the next one of some colours, which its viewer is to see in all of it.
let turn = 0;
export async function expectNextColour(desktop, monitor, viewer) {
  const colour = ['20a040', 'd02020', '3060c0', 'e0c020'][turn++ % 4];
  await desktop.clearPaint();
  await desktop.fill(monitor, colour);
  await viewer.awaitColours({ x: 10, y: 10, colour },
    { x: monitor.width - 10, y: monitor.height - 10, colour });
}

// The pointer over what is painted is a crosshair: its hot spot is in its middle.
const pointerTolerance = 2;  // pixels between where it is and where it is drawn
export function expectPointer(look, x, y) {
  return see(`the pointer at ${x},${y}`, look, (drawn) => drawn &&
    Math.abs(drawn.x - x) <= pointerTolerance && Math.abs(drawn.y - y) <= pointerTolerance);
}
