// Pictures to canvas, by whichever way this browser is fast at.

const slowDrawing = 3;         // ms; graphics hardware draws in less than one
const drawCostWeight = 0.1;    // share of the newest drawing in the average

// Drawing a picture is the way where there is graphics hardware; without it browsers convert its
// colours twice as fast when asked for the pixels (1920 x 1080 in headless Chromium: 3 ms instead
// of 6), so that is what this does once drawing has turned out to be slow.
class Painter {
  #context;
  #drawCost = 0;      // ms, average
  #copies = true;     // the browser has not refused to hand out pixels
  #image = null;      // what pixels are copied into, kept from picture to picture
  #copying = null;    // the picture whose pixels are on their way
  #next = null;       // the newest that came meanwhile

  constructor(canvas) {
    this.#context = canvas.getContext('2d', { alpha: false, desynchronized: true });
  }

  // The caller goes on owning `frame`. The canvas has its size already.
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
  }

  #draw(frame) {
    const start = performance.now();
    this.#context.drawImage(frame, 0, 0);
    this.#drawCost += drawCostWeight * (performance.now() - start - this.#drawCost);
  }

  #copy(frame) {
    const { displayWidth: width, displayHeight: height } = frame;
    if (this.#image?.width !== width || this.#image.height !== height) {
      this.#image = new ImageData(width, height);
    }
    const image = this.#image;
    this.#copying = frame;
    frame.copyTo(image.data, { format: 'RGBA' }).then(
      () => { if (this.#copying === frame) this.#context.putImageData(image, 0, 0); },
      () => {
        this.#copies = false;
        if (this.#copying === frame) this.#draw(frame);
      },
    ).then(() => {
      frame.close();
      if (this.#copying !== frame) return;
      const next = this.#next;
      this.#copying = this.#next = null;
      if (next) this.#copy(next);
    });
  }
}
