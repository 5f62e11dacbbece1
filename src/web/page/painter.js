// Pictures to canvas, by whichever way this browser is fast at.

const slowDrawing = 3;         // ms; graphics hardware draws in less than one
const drawCostWeight = 0.1;    // share of the newest drawing in the average

// Areas of a picture, in pixels.
const everywhere = { left: 0, top: 0, right: Infinity, bottom: Infinity };
const nowhere = { left: Infinity, top: Infinity, right: 0, bottom: 0 };
const union = (a, b) => ({
  left: Math.min(a.left, b.left), top: Math.min(a.top, b.top),
  right: Math.max(a.right, b.right), bottom: Math.max(a.bottom, b.bottom),
});

// Drawing a picture is the way where there is graphics hardware; without it browsers convert its
// colours twice as fast when asked for the pixels (1920 x 1080 in headless Chromium: 3 ms instead
// of 6), and convert only what has changed: that is what this does once drawing has turned out to
// be slow.
class Painter {
  #canvas;
  #context;
  #drawCost = 0;      // ms, average
  #copies = true;     // the browser has not refused to hand out pixels
  #pixels = new Uint8ClampedArray();  // what is copied into, kept from picture to picture
  #copying = null;    // the picture whose pixels are on their way
  #next = null;       // the newest that came meanwhile
  #stale = everywhere;  // where the canvas is not yet what was decoded

  constructor(canvas) {
    this.#canvas = canvas;
    this.#context = canvas.getContext('2d', { alpha: false, desynchronized: true });
    canvas.addEventListener('contextrestored', () => this.add(everywhere));
  }

  // The next painted frame differs there from the one before.
  add(area) {
    this.#stale = union(this.#stale, area);
  }

  // The caller goes on owning `frame`. The canvas takes its size together with its pixels.
  paint(frame) {
    if (!this.#copies || this.#drawCost < slowDrawing) {
      this.#draw(frame);
    } else if (this.#copying) {
      this.#next?.close();
      this.#next = frame.clone();
    } else {
      this.#copy(frame.clone());
    }
  }

  // Nothing given earlier appears any more.
  reset() {
    this.#next?.close();
    this.#copying = this.#next = null;
    this.#stale = everywhere;
  }

  // A new size empties the canvas: pixels have to follow in the same task.
  #fit({ displayWidth, displayHeight }) {
    const canvas = this.#canvas;
    if (canvas.width === displayWidth && canvas.height === displayHeight) return;
    canvas.width = displayWidth;
    canvas.height = displayHeight;
  }

  #draw(frame) {
    const start = performance.now();
    this.#fit(frame);
    this.#context.drawImage(frame, 0, 0);
    this.#stale = nowhere;
    this.#drawCost += drawCostWeight * (performance.now() - start - this.#drawCost);
  }

  #copy(frame) {
    const { left: x, top: y, right, bottom } = this.#stale;
    const width = Math.min(right, frame.displayWidth) - x;
    const height = Math.min(bottom, frame.displayHeight) - y;
    this.#stale = nowhere;
    if (width <= 0 || height <= 0) {
      frame.close();
      return;
    }
    const size = 4 * width * height;
    if (this.#pixels.length < size) this.#pixels = new Uint8ClampedArray(size);
    const image = new ImageData(this.#pixels.subarray(0, size), width, height);
    this.#copying = frame;
    frame.copyTo(image.data, { format: 'RGBA', rect: { x, y, width, height } }).then(
      () => {
        if (this.#copying !== frame) return;
        this.#fit(frame);
        this.#context.putImageData(image, x, y);
      },
      () => {
        this.#copies = false;
        if (this.#copying === frame) this.#draw(frame);
      },
    ).then(() => {
      frame.close();
      if (this.#copying !== frame) return;
      const next = this.#next;
      this.#copying = this.#next = null;
      if (!next) return;
      this.paint(next);
      next.close();
    });
  }
}
