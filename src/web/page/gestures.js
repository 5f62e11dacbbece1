// Touches on the picture become taps, right clicks, scrolling and zooming.

const tapSlop = 8;           // CSS px that a finger may wander and still tap
const longPressTime = 550;   // ms
const doubleTapTime = 300;   // ms from one tap to the next
const zoomInRatio = 1.25;    // of the distance between two fingers at the last zoom
const zoomOutRatio = 0.8;

class Gestures {
  #letterbox;
  #send;
  #finger = null;      // one finger: start, last place, whether it moved or was a long press
  #pinch = null;       // two fingers: distance, and their first midpoint as a fraction
  #longPress = 0;
  #lastTap = -Infinity;

  constructor(canvas, letterbox, send) {
    this.#letterbox = letterbox;
    this.#send = send;
    const listen = (type, handle) => canvas.addEventListener(type, (event) => {
      event.preventDefault();
      handle([...event.targetTouches].map((touch) => ({ x: touch.clientX, y: touch.clientY })));
    }, { passive: false });
    listen('touchstart', (touches) => this.#started(touches));
    listen('touchmove', (touches) => this.#moved(touches));
    listen('touchend', (touches) => this.#ended(touches));
    listen('touchcancel', () => this.cancel());
    canvas.addEventListener('contextmenu', (event) => event.preventDefault());
  }

  cancel() {
    clearTimeout(this.#longPress);
    this.#finger = this.#pinch = null;
  }

  #started(touches) {
    if (touches.length === 1) {
      this.cancel();
      this.#finger = { start: touches[0], last: touches[0], moved: false, pressed: false };
      this.#longPress = setTimeout(() => this.#pressed(), longPressTime);
    } else if (touches.length === 2 && !this.#pinch) {
      const [a, b] = touches;
      this.cancel();
      this.#pinch = {
        distance: Math.hypot(a.x - b.x, a.y - b.y),
        middle: this.#letterbox.fraction({ x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 }),
      };
    }
  }

  #moved(touches) {
    if (this.#pinch) {
      if (touches.length >= 2) this.#pinched(touches);
      return;
    }
    const finger = this.#finger;
    if (!finger) return;
    const [at] = touches;
    const far = Math.hypot(at.x - finger.start.x, at.y - finger.start.y) > tapSlop;
    if (far && !finger.moved) {
      finger.moved = true;
      finger.last = finger.start;
      clearTimeout(this.#longPress);
    }
    const { k } = this.#letterbox.placement;
    const [dx, dy] = [(at.x - finger.last.x) / k, (at.y - finger.last.y) / k];
    finger.last = at;
    if (finger.moved) this.#send({ t: 'scroll', ...this.#letterbox.fraction(at), dx, dy });
  }

  #pinched([a, b]) {
    const distance = Math.hypot(a.x - b.x, a.y - b.y);
    const ratio = distance / this.#pinch.distance;
    if (ratio <= zoomInRatio && ratio >= zoomOutRatio) return;
    this.#pinch.distance = distance;
    this.#send({ t: 'zoom', dir: ratio > 1 ? 'in' : 'out', ...this.#pinch.middle });
  }

  #pressed() {
    this.#finger.pressed = true;
    this.#send({ t: 'right', ...this.#letterbox.fraction(this.#finger.last) });
  }

  #ended(touches) {
    if (touches.length > 0) return;
    const finger = this.#finger;
    this.cancel();
    if (!finger || finger.moved || finger.pressed) return;
    const now = performance.now();
    const double = now - this.#lastTap < doubleTapTime;
    this.#lastTap = double ? -Infinity : now;
    this.#send({ t: double ? 'double' : 'tap', ...this.#letterbox.fraction(finger.start) });
  }
}
