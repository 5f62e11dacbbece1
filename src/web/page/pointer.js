// Where the picture lies in the viewport, and the computer's pointer drawn on top of it.

class Letterbox {
  constructor(canvas, video) {
    this.canvas = canvas;
    this.video = video;
  }

  // CSS pixels per picture pixel, and the picture's top left corner. The canvas covers the viewport
  // and, unlike window.innerHeight, keeps its size while a phone shows its keyboard.
  get placement() {
    const { clientWidth, clientHeight } = this.canvas;
    const { width, height } = this.video;
    const k = Math.min(clientWidth / width, clientHeight / height);
    return { k, left: (clientWidth - width * k) / 2, top: (clientHeight - height * k) / 2 };
  }

  // A place in the viewport as 0…1 of the picture; beside the picture its nearest edge.
  fraction({ x, y }) {
    const { k, left, top } = this.placement;
    const clamp = (value) => Math.min(1, Math.max(0, value));
    return {
      x: clamp((x - left) / (this.video.width * k)),
      y: clamp((y - top) / (this.video.height * k)),
    };
  }
}

class Pointer {
  #image;
  #letterbox;
  #position = null;  // 0…1 of the picture, while the pointer is on this screen
  #shape = null;     // of the image that is loaded
  #coming = null;    // the shape that belongs to pictures which are about to be shown
  #url = '';

  constructor(image, letterbox) {
    this.#image = image;
    this.#letterbox = letterbox;
  }

  move(payload) {
    if (payload.length < 7 || this.#letterbox.video.width === 0) return;
    const view = new DataView(payload.buffer, payload.byteOffset, payload.byteLength);
    this.#position = payload[6] === 1
      ? { x: view.getUint16(2) / 65535, y: view.getUint16(4) / 65535 } : null;
    this.place();
  }

  // Hot spot and size take effect together with the image they belong to.
  setShape(payload) {
    if (payload.length < 8) return;
    const view = new DataView(payload.buffer, payload.byteOffset, payload.byteLength);
    const [hotX, hotY, width, height] = [0, 2, 4, 6].map((at) => view.getUint16(at) / 16);
    URL.revokeObjectURL(this.#url);
    this.#url = URL.createObjectURL(new Blob([payload.subarray(8)], { type: 'image/png' }));
    const loaded = (shape) => () => {
      this.#coming = { shape };
      this.settle();
    };
    this.#image.onload = loaded({ hotX, hotY, width, height });
    this.#image.onerror = loaded(null);
    this.#image.src = this.#url;
  }

  // A pointer is measured in pixels of the picture, which is about to become larger or smaller while
  // `changing`. Also called with each picture.
  settle() {
    if (!this.#coming || this.#letterbox.video.changing) return;
    this.#shape = this.#coming.shape;
    this.#coming = null;
    this.place();
  }

  // Also called when the picture's size or the viewport's changes.
  place() {
    const style = this.#image.style;
    if (!this.#position || !this.#shape || this.#letterbox.video.width === 0) {
      style.display = 'none';
      return;
    }
    const { video } = this.#letterbox;
    const { k, left, top } = this.#letterbox.placement;
    const { hotX, hotY, width, height } = this.#shape;
    const x = left + this.#position.x * video.width * k - hotX * k;
    const y = top + this.#position.y * video.height * k - hotY * k;
    style.width = `${width * k}px`;
    style.height = `${height * k}px`;
    style.transform = `translate(${x}px, ${y}px)`;
    style.display = 'block';
  }

  hide() {
    this.#position = null;
    this.place();
  }
}
