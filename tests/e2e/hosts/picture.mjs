// A screenshot as `xwd` writes it: a header of 32-bit numbers, a name, a table of colours, pixels.
export class Picture {
  #pixels;
  #stride;

  constructor(bytes) {
    const word = (index) => bytes.readUInt32BE(index * 4);
    const [headerSize, width, height, bigEndian, bits, stride, colours] =
      [0, 4, 5, 7, 11, 12, 19].map(word);
    if (bits !== 32 || bigEndian) throw new Error('not a screenshot of 32-bit pixels');
    Object.assign(this, { width, height });
    this.#pixels = bytes.subarray(headerSize + colours * 12);
    this.#stride = stride;
  }

  // [red, green, blue]
  at(x, y) {
    const place = y * this.#stride + x * 4;
    return [this.#pixels[place + 2], this.#pixels[place + 1], this.#pixels[place]];
  }

  // The smallest rectangle around what is not `colour` in the part of the picture around a place,
  // nothing when all of it is.
  differing({ x, y, reach }, colour, tolerance) {
    let box = null;
    for (let row = Math.max(0, y - reach); row < Math.min(this.height, y + reach); ++row) {
      for (let column = Math.max(0, x - reach); column < Math.min(this.width, x + reach); ++column) {
        if (isNear(this.at(column, row), colour, tolerance)) continue;
        box ??= { left: column, right: column, top: row, bottom: row };
        box.left = Math.min(box.left, column);
        box.right = Math.max(box.right, column);
        box.bottom = row;
      }
    }
    return box;
  }
}

export const components = (colour) => [0, 2, 4].map((at) => parseInt(colour.slice(at, at + 2), 16));

// Whether [red, green, blue] is the colour ('rrggbb') within a tolerance for each component.
export function isNear(seen, colour, tolerance) {
  return components(colour).every((value, index) => Math.abs(value - seen[index]) <= tolerance);
}
