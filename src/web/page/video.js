// H.264 to canvas with as little delay as the browser allows: a frame goes to the decoder in the
// task that received it and to the canvas in the decoder's output callback. A picture that newer
// ones have overtaken is not shown.

const frameDuration = 16667;  // µs; the decoder needs rising timestamps, not true ones
const maxPendingTimes = 120;  // frames; older ones were dropped by the decoder
const maxKeptFrames = 120;    // frames; two seconds are enough to learn whether a decoder works
const averageWeight = 0.1;    // share of the newest decode time in the average
const maxProbeTime = 65535;   // tenths of a millisecond, what 16 bits hold
const maxBacklog = 34;         // ms beyond the decoder's own latency: two frames are piling up
const maxPaintPause = 100;     // ms; a picture that is late is better than none for longer
const idrSlice = 5;           // NAL unit type that only key frames contain
const userData = 6;           // NAL unit type of what is said beside the picture
// How the computer begins to say where a picture differs from the one before: unit type, kind,
// length, and an identifier of its own.
const changeNote = [userData, 5, 24,
  0xef, 0x43, 0x85, 0xdc, 0x52, 0xf8, 0x41, 0xe9, 0xaa, 0xe5, 0x45, 0x21, 0x8f, 0x61, 0x37, 0xa6];
const noteEnd = changeNote.length + 8;  // bytes
const macroblock = 16;        // pixels

// The parameter sets of a configuration message, nothing when it is cut short.
function parseParameterSets(payload) {
  const view = new DataView(payload.buffer, payload.byteOffset, payload.byteLength);
  const sets = [];
  let position = 0;
  for (let i = 0; i < 2; i++) {
    if (position + 2 > payload.length) return null;
    const end = position + 2 + view.getUint16(position);
    if (end > payload.length) return null;
    sets.push(payload.subarray(position + 2, end));
    position = end;
  }
  const [sps, pps] = sets;
  return sps.length >= 4 && pps.length >= 1 ? { sps, pps } : null;
}

function decoderSettings({ sps, pps }) {
  const hex = (byte) => byte.toString(16).padStart(2, '0');
  const length = (set) => [set.length >> 8, set.length & 255];
  return {
    codec: 'avc1.' + [...sps.subarray(1, 4)].map(hex).join(''),
    // The avcC record: version, profile, constraints, level, 4-byte lengths, one set of each kind.
    description: new Uint8Array(
      [1, ...sps.subarray(1, 4), 0xff, 0xe1, ...length(sps), ...sps, 1, ...length(pps), ...pps]),
    optimizeForLatency: true,
  };
}

// Where a picture differs from the one before, as a note says in macroblocks; everywhere when the
// unit is another one.
function changedArea(unit) {
  if (unit.length < noteEnd || changeNote.some((byte, i) => byte !== unit[i]) ||
      unit.subarray(changeNote.length, noteEnd).some((byte) => byte < 128)) return everywhere;
  const [left, top, width, height] = [0, 2, 4, 6].map((offset) => {
    const at = changeNote.length + offset;
    return ((unit[at] & 127) << 7 | (unit[at + 1] & 127)) * macroblock;
  });
  return width && height ? { left, top, right: left + width, bottom: top + height } : nowhere;
}

// Whether an access unit is a key frame, and where its picture differs from the one before.
function inspect(payload) {
  const view = new DataView(payload.buffer, payload.byteOffset, payload.byteLength);
  let changed = everywhere;
  let notes = 0;
  for (let position = 0; position + 5 <= payload.length;) {
    const end = position + 4 + view.getUint32(position);
    const unitType = payload[position + 4] & 31;
    if (unitType === idrSlice) return { key: true, changed: everywhere };
    if (unitType === userData) {
      changed = notes++ ? everywhere : changedArea(payload.subarray(position + 4, end));
    }
    position = end;
  }
  return { key: false, changed };
}

// What each codec string is decoded with, learnt once: browsers without a hardware decoder refuse
// 'prefer-hardware', some only when it is too late to ask.
const accelerations = new Map();

class Video {
  #painter;
  #onPicture;
  #decoder = null;
  #settings = null;   // what the decoder is, or is about to be, configured with
  #config = '';       // the message that #settings came from
  #acceleration = '';
  #fresh = false;     // the decoder has worked for no earlier configuration
  #needKey = true;
  #timestamp = 0;
  #firstTimestamp = 0;
  #kept = null;       // frames since a key frame, until this configuration has shown a picture
  #decoding = new Map();  // timestamp to { sentAt: ms, changed }
  #average = 0;       // ms
  #paintedAt = 0;     // ms
  #fastest = Infinity;  // ms; the decoder's own latency, which some hardware has a lot of

  // The size of the shown picture in pixels; 0 until there is one.
  width = 0;
  height = 0;

  constructor(canvas, onPicture) {
    this.#painter = new Painter(canvas);
    this.#onPicture = onPicture;
  }

  // The browser took the decoder away although a picture is shown, as it may while hidden.
  get broken() {
    return this.width !== 0 && !this.#settings;
  }

  // Forgets the stream. No picture of it appears afterwards.
  reset() {
    if (this.#decoder && this.#decoder.state !== 'closed') this.#decoder.close();
    this.#forget();
    this.#decoding.clear();
    this.#painter.reset();
    this.width = this.height = 0;
  }

  configure(payload) {
    const config = payload.join(',');
    // Between asking and configuring there is no decoder yet for the same message to restart.
    if (config === this.#config && (this.#acceleration === '' || this.#configured)) return;
    const sets = parseParameterSets(payload);
    if (!sets) return;
    const settings = this.#settings = decoderSettings(sets);
    this.#config = config;
    this.#acceleration = '';
    this.#needKey = true;
    this.#firstTimestamp = this.#timestamp + frameDuration;
    this.#kept = [];
    const known = accelerations.get(settings.codec);
    if (known || !VideoDecoder.isConfigSupported) {
      this.#open(known ?? 'prefer-hardware');
      return;
    }
    VideoDecoder.isConfigSupported({ ...settings, hardwareAcceleration: 'prefer-hardware' })
      .then(({ supported }) => supported, () => false)
      .then((supported) => {
        const acceleration = supported ? 'prefer-hardware' : 'no-preference';
        accelerations.set(settings.codec, acceleration);
        if (settings === this.#settings) this.#open(acceleration);
      });
  }

  frame(payload) {
    if (!this.#settings) return;
    const { key, changed } = inspect(payload);
    if (this.#needKey && !key) return;
    this.#needKey = false;
    this.#timestamp += frameDuration;
    const chunk = {
      type: key ? 'key' : 'delta', timestamp: this.#timestamp, data: payload, changed,
    };
    this.#keep(chunk);
    if (this.#acceleration !== '') this.#decode(chunk);
  }

  // The average decode time as a probe's answer carries it.
  get decodeTenths() {
    return Math.min(maxProbeTime, Math.round(this.#average * 10));
  }

  get #configured() {
    return this.#decoder !== null && this.#decoder.state === 'configured';
  }

  #forget() {
    this.#decoder = this.#settings = this.#kept = null;
    this.#config = this.#acceleration = '';
    this.#needKey = true;
  }

  #open(acceleration) {
    this.#fresh = !this.#decoder || this.#decoder.state === 'closed';
    if (this.#fresh) this.#decoder = this.#create();
    const decoder = this.#decoder;
    this.#acceleration = acceleration;
    this.#fastest = Infinity;
    try {
      decoder.configure({ ...this.#settings, hardwareAcceleration: acceleration });
    } catch (error) {
      this.#failed(decoder, error);
      return;
    }
    for (const chunk of this.#kept) {
      if (decoder !== this.#decoder) return;  // it failed at once and was replaced
      this.#decode(chunk);
    }
  }

  #create() {
    const decoder = new VideoDecoder({
      output: (frame) => {
        if (decoder === this.#decoder) this.#paint(frame);
        frame.close();
      },
      error: (error) => this.#failed(decoder, error),
    });
    return decoder;
  }

  #keep(chunk) {
    if (!this.#kept) return;
    if (chunk.type === 'key') this.#kept = [];
    if (this.#kept.push(chunk) <= maxKeptFrames) return;
    this.#kept = this.#acceleration === '' ? [] : null;
    // Nobody has seen what is thrown away here, so that the next frame cannot build on it.
    if (this.#acceleration === '') this.#needKey = true;
  }

  #decode(chunk) {
    const decoder = this.#decoder;
    if (!this.#configured) return;
    this.#decoding.set(chunk.timestamp, { sentAt: performance.now(), changed: chunk.changed });
    if (this.#decoding.size > maxPendingTimes) this.#takeUpTo(this.#decoding.keys().next().value);
    try {
      decoder.decode(new EncodedVideoChunk(chunk));
    } catch (error) {
      this.#failed(decoder, error);
    }
  }

  // Until a configuration has shown a picture its frames are there to be decoded again: by a new
  // decoder when the error may belong to an earlier configuration, without hardware when hardware
  // fails. Later the stream's next configuration and key frame repair.
  #failed(decoder, error) {
    if (decoder !== this.#decoder) return;
    console.warn('Decoder:', error);
    if (decoder.state !== 'closed') decoder.close();
    this.#decoder = null;
    if (this.#kept && this.#acceleration === '') return;  // the answer will open a new one
    if (this.#kept && !this.#fresh) {
      this.#open(this.#acceleration);
    } else if (this.#kept && this.#acceleration === 'prefer-hardware') {
      accelerations.set(this.#settings.codec, 'no-preference');
      this.#open('no-preference');
    } else {
      this.#forget();
    }
  }

  // Without graphics hardware drawing takes longer than decoding: a page that drew everything would
  // fall behind by seconds.
  #outdated(timestamp, waited, now) {
    if (waited > 0) this.#fastest = Math.min(this.#fastest, waited);
    return this.width !== 0 && timestamp < this.#timestamp &&
      waited - this.#fastest > maxBacklog && now - this.#paintedAt < maxPaintPause;
  }

  #paint(frame) {
    const { timestamp, displayWidth, displayHeight } = frame;
    const now = performance.now();
    const waited = this.#measure(this.#takeUpTo(timestamp), now);
    if (this.#outdated(timestamp, waited, now)) return;
    this.#paintedAt = now;
    if (this.width !== displayWidth || this.height !== displayHeight) {
      this.#painter.add(everywhere);
    }
    this.#painter.paint(frame);
    this.width = displayWidth;
    this.height = displayHeight;
    if (timestamp >= this.#firstTimestamp) this.#kept = null;
    this.#onPicture();
  }

  // Pictures of another configuration, perhaps of another size, are about to be shown.
  get changing() {
    return this.#kept !== null;
  }

  // What is known of the frame; the changes of those before it, which may never come, are its too.
  #takeUpTo(timestamp) {
    const known = this.#decoding.get(timestamp);
    if (!known) this.#painter.add(everywhere);
    for (const [earlier, { changed }] of this.#decoding) {
      if (earlier > timestamp) continue;
      this.#painter.add(changed);
      this.#decoding.delete(earlier);
    }
    return known;
  }

  // How long a frame was in the decoder, ms; 0 when that is not known.
  #measure(known, now) {
    if (!known) return 0;
    const time = now - known.sentAt;
    this.#average += this.#average === 0 ? time : averageWeight * (time - this.#average);
    return time;
  }
}
