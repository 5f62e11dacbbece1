// What tests paint on a monitor to tell colour, place and orientation from what they see of it.
const tolerance = 12;  // of 255, each component: what coding costs

// Whether a colour ('rrggbb') is the other one within what coding costs.
export const isNear = (seen, colour) => [0, 2, 4].every((at) => (
  Math.abs(parseInt(colour.slice(at, at + 2), 16) - parseInt(seen.slice(at, at + 2), 16)) <=
    tolerance));

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
