// Puts the page together: who this device is, what the messages do, how it starts.

const pageVersion = '__VERSION__';
const settleTime = 800;  // ms from the last resize until a rotation counts

const message = {
  params: 1, frame: 2, bye: 4, cursorPos: 6, cursorShape: 7, denied: 8, textFocus: 9,
  probeAck: 10, probe: 11,
};

const element = (id) => document.getElementById(id);

function linkKey() {
  return location.hash.match(/k=([a-z0-9]+)/)?.[1] ?? '';
}

function deviceID() {
  const made = () => crypto.getRandomValues(new Uint32Array(4)).join('-');
  try {
    const id = localStorage.getItem('ts-id') || made();
    localStorage.setItem('ts-id', id);
    return id;
  } catch {
    return made();  // without storage this device is a new one each time
  }
}

function deviceName() {
  const agent = navigator.userAgent;
  if (agent.includes('iPad')) return 'iPad';
  if (agent.includes('Macintosh') && navigator.maxTouchPoints > 1) return 'iPad';
  const names = {
    iPhone: 'iPhone', Android: 'Android device', Windows: 'Windows PC', CrOS: 'Chromebook',
    Macintosh: 'Mac',
  };
  return names[Object.keys(names).find((word) => agent.includes(word))] ?? 'Browser';
}

// A page that a person started and that then replaced itself still obeys a stop: only one that was
// opened with "auto" comes back by itself.
const startsItself = location.search.includes('auto');
const personMark = 'ts-person';
let startedByPerson = false;
try {
  startedByPerson = sessionStorage.getItem(personMark) !== null;
} catch { /* no storage, no mark */ }

function replacePage() {
  try {
    if (!startsItself || startedByPerson) sessionStorage.setItem(personMark, '1');
  } catch { /* no storage, no mark */ }
  location.replace(`${location.pathname}?auto=1${location.hash}`);
}

// Keeps the display on while a picture is shown.
class WakeLock {
  #wanted = false;
  #lock = null;

  async hold() {
    this.#wanted = true;
    if (this.#lock || document.hidden || !navigator.wakeLock) return;
    this.#lock = 'asking';
    try {
      const lock = this.#lock = await navigator.wakeLock.request('screen');
      lock.addEventListener('release', () => {
        if (this.#lock === lock) this.#lock = null;
      });
      if (!this.#wanted) this.release();
    } catch {
      this.#lock = null;  // a battery saver may say no
    }
  }

  // The browser lets go of the lock whenever the page is hidden.
  renew() {
    if (this.#wanted) this.hold();
  }

  release() {
    this.#wanted = false;
    if (this.#lock?.release) this.#lock.release().catch(() => {});
  }
}

const key = linkKey();
const canStart = key !== '' && typeof VideoDecoder !== 'undefined';
const device = { key, id: deviceID(), name: deviceName() };

const panel = new Panel(element('msg'));
const wakeLock = new WakeLock();
const video = new Video(element('v'), () => {
  panel.hide();
  pointer.settle();
  if (pictureShown) return;
  pictureShown = true;
  wakeLock.hold();
});
const letterbox = new Letterbox(element('v'), video);
const pointer = new Pointer(element('p'), letterbox);
const link = new Link(device, {
  connecting: () => panel.hide(),
  asking: () => panel.show(texts.asking(device.name)),
  streaming: () => video.width !== 0,
  message: receive,
  lost: () => end('lost'),
});
const gestures = new Gestures(element('v'), letterbox, sendInput);
const typing = new Typing(element('kb'), element('ti'), sendInput);
let pictureShown = false;
let settling = 0;

function sendInput(input) {
  if (video.width !== 0) link.send(JSON.stringify(input));
}

function receive(type, payload) {
  switch (type) {
    case message.params: return video.configure(payload);
    case message.frame: return video.frame(payload);
    case message.cursorPos: return pointer.move(payload);
    case message.cursorShape: return pointer.setShape(payload);
    case message.bye: return end('stopped');
    case message.denied: return end('refused');
    case message.textFocus: return focusChanged(payload);
    case message.probe: return answerProbe(payload);
  }
}

function focusChanged(payload) {
  try {
    typing.offer(JSON.parse(new TextDecoder().decode(payload))?.on === true);
  } catch {
    // Not JSON: the button stays as it is.
  }
}

function answerProbe(payload) {
  if (payload.length < 4) return;
  const time = video.decodeTenths;
  link.send(Uint8Array.of(message.probeAck, ...payload.subarray(0, 4), time >> 8, time & 255));
}

function clearStream() {
  link.close();
  video.reset();
  pointer.hide();
  typing.offer(false);
  gestures.cancel();
  wakeLock.release();
  pictureShown = false;
}

function end(reason) {
  clearStream();
  if (reason === 'refused') {
    panel.show(texts.refused);
  } else if (reason === 'stopped' && (!startsItself || startedByPerson)) {
    panel.show(texts.start);
  } else {
    panel.show(texts.reconnecting);
    link.reconnectLater();
  }
}

function reconnectNow() {
  clearStream();
  link.connect();
}

// Resolves when the viewport has its new size; refusals are none of the page's business.
async function fillScreen() {
  const root = document.documentElement;
  try {
    await (root.requestFullscreen ?? root.webkitRequestFullscreen)?.call(root);
  } catch { /* refused */ }
}

panel.onTap(() => {
  if (canStart) link.connect(fillScreen());
});

addEventListener('resize', () => {
  pointer.place();
  clearTimeout(settling);
  settling = setTimeout(() => {
    if (link.turned) reconnectNow();
  }, settleTime);
});

document.addEventListener('visibilitychange', () => {
  if (document.hidden) return;
  link.wake();
  wakeLock.renew();
  if (link.open && video.broken) reconnectNow();
});

// A new link pasted into the same tab changes the fragment alone.
addEventListener('hashchange', () => {
  if (linkKey() !== key) location.reload();
});

if (key === '') panel.show(texts.noKey);
else if (!canStart) panel.show(texts.noDecoder);
else panel.show(texts.start);

if (canStart && startsItself) link.connect();
