// The message panel: everything that the page says to a person, and where a tap starts it.

const tip = 'For a true full screen: tap Share, then “Add to Home Screen”, and open Tessaline from there.';

const texts = {
  start: ['Tap to start', "This screen becomes your Mac's extra screen."],
  noKey: [
    'Scan the QR code on your Mac',
    "Open Tessaline's menu on your Mac, then “Add Any Device with a Browser”.",
  ],
  noDecoder: [
    "This browser can't show the screen here",
    'Use a recent Chrome or Safari. On this page, video decoding needs a secure connection.',
  ],
  asking: (device) => [
    `Waiting for your Mac to allow this ${device}…`,
    'Click “Allow” on your Mac.',
  ],
  refused: [
    'Not allowed',
    'This link is out of date, or the device was refused on the Mac. Scan the QR code again.',
  ],
  reconnecting: ['Waiting for your Mac…', 'Reconnecting'],
};

// A phone's own browser keeps its bars; only a page opened from the home screen fills the display.
function wantsHomeScreenTip() {
  const installed = navigator.standalone || matchMedia('(display-mode: standalone)').matches ||
      matchMedia('(display-mode: fullscreen)').matches;
  return /iPhone|iPod/.test(navigator.userAgent) && !installed;
}

class Panel {
  constructor(element) {
    this.element = element;
  }

  show([title, detail]) {
    const line = (tag, text, id = '') =>
      Object.assign(document.createElement(tag), { textContent: text, id });
    const lines = [line('div', title), line('small', detail)];
    if (wantsHomeScreenTip()) lines.push(line('div', tip, 'tip'));
    this.element.replaceChildren(...lines);
    this.element.hidden = false;
  }

  hide() {
    this.element.hidden = true;
  }

  // `start` runs inside the person's gesture, as asking for full screen demands.
  onTap(start) {
    this.element.addEventListener('click', start);
    this.element.addEventListener('keydown', (event) => {
      if (event.key !== 'Enter' && event.key !== ' ') return;
      event.preventDefault();
      start();
    });
  }
}
