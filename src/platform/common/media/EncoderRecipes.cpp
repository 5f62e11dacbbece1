#include "platform/common/media/EncoderRecipes.h"

namespace tessaline::platform {
namespace {

// All numbers: bench_encoder, 1920 x 1080, 25 Mbit/s, processor milliseconds for each frame on a
// 2-core machine, where a receiving browser decodes on the same cores.

// Scrolling text, film on the whole screen, pages that change at once, and a still page:
//   ultrafast    4.4    9.7    5.3    3.6
//   superfast    9.3   26.7   11.7    7.5
// superfast without its deblocking, CABAC, sub-pixel search, adaptive quantisation and fine blocks
// in P frames costs what ultrafast does, but 12 instead of 8 ms for a key frame, for 2 dB in it.
constexpr const char* kPreset = "ultrafast";

// 8x8dct makes the profile High; it costs up to 0.4 ms.
// What was measured and left out:
//   cabac=1     15 % fewer bytes, but 4 ms more on film, 7 ms more on a page that changes, and as
//               much again in the decoder
//   aq-mode=1   4 dB less on text: it takes from edges what it gives to plain areas
//   subme=1     2 ms more on text, 4 ms on film, no gain on text; subme=2 twice that
//   no-deblock=0  0.3 to 1.4 ms more, as much in the decoder, for 0.2 dB
//   analyse=i4x4  fine blocks in P frames: 5 ms more on film, 2.5 dB on a page that changes
//   merange, me=hex, psy: no difference
//   qp=24       a third less (12 of 34 ms at 3840 x 2160): with a constant quantiser x264 does not
//               estimate a picture before it codes it; but nothing bounds what a picture may take
// qcomp=1 keeps the quantiser even: a page that changes is as sharp as one that scrolls.
const std::vector<std::pair<std::string, std::string>> kX264Parameters = {
    {"8x8dct", "1"}, {"scenecut", "0"}, {"qcomp", "1"}};

// Constant quality, with the bit rate as the upper limit: text has 46 dB, a page is done after a
// few frames, and costs next to nothing from then on. With a constant bit rate a still page goes on
// to 64 dB at 17 kB a frame. 22 has 44 dB for 10 % fewer bytes, 18 has 48 dB for 10 % more.
constexpr float kQuality = 20;

// A picture that stands still is looked at: what it is refined to.
constexpr float kStillQuality = 12;

// What changes little has as many bits as it wants, and nothing follows that would sharpen it.
constexpr int kPatchQp = 14;

// The rate window in frames' worth of the bit rate: what one frame may take after a quiet time, a
// key frame or a page that changes. Moving pictures settle at one frame's worth for each frame
// whatever it is. Pages that change at once, dense text, dB of the first picture, on a desktop
// where nothing may follow to sharpen it:
//   1: 22   2: 25   3: 28   6: 35   8: 40   9: 43
// 6 frames are 100 ms on a network that is as slow as the bit rate, and less pale text fits.
constexpr double kX264WindowFrames = 6;
// On a network that is the limit a frame is as late as it is large: a picture that changes has to
// do with two frames' worth, and gets sharp afterwards.
constexpr double kX264SlowWindowFrames = 3;

// A second slice thread takes 0 to 30 % off a frame's time when the other core is idle, nothing
// when a browser uses it, and costs up to 3 dB in a page that changes: for machines with cores to
// spare.
constexpr unsigned kProcessorsForTwoSlices = 4;

// Hardware keeps a constant rate; it has no cheap way to grant a quiet time's bits afterwards.
constexpr double kHardwareWindowFrames = 4;

}  // namespace

EncoderRecipe nvencRecipe() {
  return {.codec = "h264_nvenc",
          .options = {{"preset", "p2"},
                      {"tune", "ull"},
                      {"profile", "high"},
                      {"rc", "cbr"},
                      {"zerolatency", "1"},
                      {"delay", "0"},
                      {"no-scenecut", "1"},
                      {"forced-idr", "1"},
                      {"strict_gop", "1"}},
          .windowFrames = kHardwareWindowFrames};
}

EncoderRecipe vaapiRecipe() {
  return {.codec = "h264_vaapi",
          .options = {{"profile", "high"}, {"rc_mode", "CBR"}, {"async_depth", "1"}, {"sei", "0"}},
          .uploads = true,
          .windowFrames = kHardwareWindowFrames};
}

X264Recipe x264Recipe(unsigned processors) {
  return {.preset = kPreset,
          .parameters = kX264Parameters,
          .quality = kQuality,
          .stillQuality = kStillQuality,
          .patchQp = kPatchQp,
          .threads = processors >= kProcessorsForTwoSlices ? 2 : 1,
          .windowFrames = kX264WindowFrames,
          .slowWindowFrames = kX264SlowWindowFrames};
}

}  // namespace tessaline::platform
