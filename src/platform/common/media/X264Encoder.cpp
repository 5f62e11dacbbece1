#include "platform/common/media/X264Encoder.h"

extern "C" {
#include <x264.h>
}

#include <algorithm>
#include <cmath>

#include "platform/common/media/AccessUnit.h"
#include "platform/common/media/ChangedArea.h"
#include "platform/common/media/PatchCoder.h"
#include "platform/common/media/SequenceParameterSet.h"

namespace tessaline::platform {
namespace {

// Of the window, what one frame's time may refill at most: with all of it the encoder would take
// the window for that of a single frame and plan more carefully than it has to.
constexpr double kMaximumRefill = 0.9;

constexpr int kKilobit = 1000;

// The longest side that x264 codes, in pixels. What it refuses itself leaks a little memory.
constexpr int kLongestSide = 16384;

// Numbers of ITU-T H.264, table E-3 to E-5. A desktop's sRGB, converted as BT.601 says. Other
// primaries or another transfer would make a decoder that manages colours shift them.
constexpr int kPrimariesBt709 = 1;
constexpr int kTransferSrgb = 13;
constexpr int kMatrixBt601 = 6;

int macroblocks(int pixels) {
  return (pixels + kMacroblock - 1) / kMacroblock;
}

struct Close {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};

bool describe(x264_param_t& parameters, const X264Recipe& recipe,
              const CompressionOptions& options) {
  if (x264_param_default_preset(&parameters, recipe.preset.c_str(), "zerolatency") < 0) {
    return false;
  }
  parameters.i_log_level = X264_LOG_NONE;
  parameters.i_threads = recipe.threads;
  parameters.i_csp = X264_CSP_NV12;
  parameters.i_width = options.size.width & ~1;
  parameters.i_height = options.size.height & ~1;
  parameters.i_fps_num = static_cast<std::uint32_t>(options.expectedFrameRate);
  parameters.i_fps_den = 1;
  parameters.i_timebase_num = 1;
  parameters.i_timebase_den = parameters.i_fps_num;
  parameters.b_vfr_input = 0;
  parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;  // counted here
  parameters.i_frame_reference = 1;
  parameters.b_annexb = 0;
  parameters.vui.i_sar_width = parameters.vui.i_sar_height = 1;
  parameters.vui.b_fullrange = 0;
  parameters.vui.i_colorprim = kPrimariesBt709;
  parameters.vui.i_transfer = kTransferSrgb;
  parameters.vui.i_colmatrix = kMatrixBt601;
  parameters.rc.i_rc_method = X264_RC_CRF;
  parameters.rc.f_rf_constant = recipe.quality;
  for (const auto& [name, value] : recipe.parameters) {
    if (x264_param_parse(&parameters, name.c_str(), value.c_str()) < 0) return false;
  }
  // Its account of what changed leaves out what deblocking changes.
  const int notes = parameters.b_deblocking_filter ? 0 : 1;
  parameters.analyse.b_mb_info = parameters.analyse.b_mb_info_update = notes;
  return x264_param_apply_profile(&parameters, "high") == 0;
}

}  // namespace

struct X264Encoder::Codec {
  CompressionOptions options;
  X264Recipe recipe;
  x264_param_t parameters{};
  std::unique_ptr<x264_t, Close> encoder;

  int bitRate = 0;
  std::optional<Clock::time_point> lastTime;
  double unusedFrames = 0;  // frames' worth of bits that time brought and no frame was granted
  double ahead = 0;         // bytes that the pictures so far took more than their time brought

  std::optional<PatchCoder> patches;  // none where the stream is not one that it can add to
  SliceShape shape;
  ReferencePicture reference;  // valid with `referenceKept`, until the next picture is coded
  bool referenceKept = false;
  std::uint32_t frameNumber = 0;       // of the last picture, from the last key frame on
  int sinceKeyFrame = 0;               // pictures
  std::vector<std::uint8_t> constant;  // of each macroblock, whether it stays as it is

  bool open();
  void gather(Clock::time_point time);
  void grant(bool refine);
  [[nodiscard]] double frameBytes() const;
  [[nodiscard]] double windowFrames() const;
  std::optional<Bytes> codePatches(const PixelBuffer& frame, const FrameNotes& notes);
  std::uint8_t* markConstant(const FrameNotes& notes);
  [[nodiscard]] PixelRect changedArea() const;
  std::optional<CodedFrame> codeWhole(const PixelBuffer& frame, const FrameNotes& notes,
                                      bool keyFrame);
};

bool X264Encoder::Codec::open() {
  const PixelSize size = options.size;
  if (size.width < 2 || size.height < 2 || size.width > kLongestSide ||
      size.height > kLongestSide || options.averageBitRate <= 0 || options.expectedFrameRate <= 0 ||
      !describe(parameters, recipe, options)) {
    return false;
  }
  bitRate = options.averageBitRate;
  grant(false);
  parameters.rc.f_vbv_buffer_init = 1;
  encoder.reset(x264_encoder_open(&parameters));
  return encoder != nullptr;
}

double X264Encoder::Codec::frameBytes() const {
  return bitRate / 8.0 / options.expectedFrameRate;
}

double X264Encoder::Codec::windowFrames() const {
  return bitRate < options.averageBitRate ? recipe.slowWindowFrames : recipe.windowFrames;
}

void X264Encoder::Codec::gather(Clock::time_point time) {
  if (lastTime) {
    const double seconds = std::chrono::duration<double>(time - *lastTime).count();
    unusedFrames += seconds * options.expectedFrameRate;
    ahead = std::max(0.0, ahead - seconds * bitRate / 8);
  }
  lastTime = time;
  // The one frame's worth beyond the window is that of the picture that is about to be coded.
  unusedFrames = std::clamp(unusedFrames, -windowFrames(), windowFrames() + 1);
}

/// x264 counts frames, not time: without this, a page that changes once a second would get a
/// sixtieth of a second's bits. What passed before this frame is granted at its end, so that the
/// frame after it finds the room; the window bounds what may gather.
void X264Encoder::Codec::grant(bool refine) {
  const double granted =
      std::clamp(std::floor(unusedFrames), 1.0, std::floor(windowFrames() * kMaximumRefill));
  unusedFrames = std::clamp(unusedFrames - granted, -windowFrames(), 1.0);
  parameters.rc.f_rf_constant = refine ? recipe.stillQuality : recipe.quality;
  parameters.rc.i_vbv_max_bitrate = std::max(1, static_cast<int>(granted * bitRate / kKilobit));
  parameters.rc.i_vbv_buffer_size = std::max(
      1, static_cast<int>(windowFrames() * bitRate / options.expectedFrameRate / kKilobit));
  if (encoder) x264_encoder_reconfig(encoder.get(), &parameters);
}

std::optional<Bytes> X264Encoder::Codec::codePatches(const PixelBuffer& frame,
                                                     const FrameNotes& notes) {
  if (!patches || !referenceKept || notes.keyFrame || notes.refine || !notes.changed) {
    return std::nullopt;
  }
  const double most = windowFrames() * frameBytes() - ahead;
  auto unit = patches->code(frame, *notes.changed, reference, frameNumber + 1,
                            static_cast<std::size_t>(std::max(most, 0.0)));
  if (!unit) return std::nullopt;
  ++frameNumber;
  unusedFrames = std::max(unusedFrames - static_cast<double>(unit->size()) / frameBytes(), -1.0);
  return unit;
}

/// What x264 may skip without a look; it still mends what had too few bits before. Nothing when any
/// of it may have changed, or when it is to become sharper.
std::uint8_t* X264Encoder::Codec::markConstant(const FrameNotes& notes) {
  if (!parameters.analyse.b_mb_info || !referenceKept || !notes.changed || notes.refine) {
    return nullptr;
  }
  const int columns = macroblocks(parameters.i_width);
  const int rows = macroblocks(parameters.i_height);
  constant.assign(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows),
                  X264_MBINFO_CONSTANT);
  for (const PixelRect& changed : *notes.changed) {
    const PixelRect rect = intersected(changed, {0, 0, parameters.i_width, parameters.i_height});
    if (rect.empty()) continue;
    const int left = rect.x / kMacroblock;
    const int right = macroblocks(rect.x + rect.width);
    for (int row = rect.y / kMacroblock; row < macroblocks(rect.y + rect.height); ++row) {
      const auto line = constant.begin() + std::ptrdiff_t{row} * columns;
      std::fill(line + left, line + right, std::uint8_t{0});
    }
  }
  return constant.data();
}

/// Where what x264 has just coded is not as it was, in macroblocks.
PixelRect X264Encoder::Codec::changedArea() const {
  const int columns = macroblocks(parameters.i_width);
  PixelRect area;
  for (std::size_t i = 0; i < constant.size(); ++i) {
    if (constant[i] & X264_MBINFO_CONSTANT) continue;
    const auto index = static_cast<int>(i);
    area = united(area, {index % columns, index / columns, 1, 1});
  }
  return area;
}

std::optional<CodedFrame> X264Encoder::Codec::codeWhole(const PixelBuffer& frame,
                                                        const FrameNotes& notes, bool keyFrame) {
  x264_picture_t picture;
  x264_picture_init(&picture);
  picture.i_type = keyFrame ? X264_TYPE_IDR : X264_TYPE_P;
  picture.img.i_csp = X264_CSP_NV12;
  picture.img.i_plane = 2;
  picture.img.plane[0] = const_cast<std::uint8_t*>(frame.luma());  // only read
  picture.img.plane[1] = const_cast<std::uint8_t*>(frame.chroma());
  picture.img.i_stride[0] = picture.img.i_stride[1] = frame.stride();
  picture.prop.mb_info = keyFrame ? nullptr : markConstant(notes);

  x264_nal_t* units = nullptr;
  int count = 0;
  x264_picture_t coded;
  referenceKept = false;
  const int size = x264_encoder_encode(encoder.get(), &units, &count, &picture, &coded);
  if (size <= 0 || count <= 0) return std::nullopt;
  auto unit =
      splitAccessUnit({units[0].p_payload, static_cast<std::size_t>(size)}, NalFraming::lengths);
  CodedFrame result;
  result.keyFrame = coded.b_keyframe != 0;
  if (!unit || (result.keyFrame && !unit->parameterSets)) return std::nullopt;
  if (result.keyFrame) {
    frameNumber = 0;
    if (!patches) {
      if (const auto read = SliceShape::read(*unit->parameterSets)) {
        shape = *read;
        patches.emplace(PixelSize{parameters.i_width, parameters.i_height}, shape, recipe.patchQp);
      }
    }
    result.parameterSets = std::move(unit->parameterSets);
    completeSequenceParameterSet(result.parameterSets->sequence);
  } else {
    ++frameNumber;
    // x264 does not know of the pictures that it did not code.
    if (patches) setFrameNumber(unit->slices, shape, frameNumber);
  }
  referenceKept = coded.img.i_plane == 2 && coded.img.plane[0] && coded.img.plane[1];
  reference = {coded.img.plane[0], coded.img.plane[1], coded.img.i_stride[0],
               coded.img.i_stride[1]};
  if (picture.prop.mb_info) {
    const Bytes note = changedAreaUnit(changedArea());
    unit->slices.insert(unit->slices.begin(), note.begin(), note.end());
  }
  result.data = std::make_shared<const Bytes>(std::move(unit->slices));
  return result;
}

X264Encoder::X264Encoder(std::unique_ptr<Codec> codec) : codec_(std::move(codec)) {}
X264Encoder::~X264Encoder() = default;

std::unique_ptr<X264Encoder> X264Encoder::open(const X264Recipe& recipe,
                                               const CompressionOptions& options) {
  auto codec = std::make_unique<Codec>();
  codec->options = options;
  codec->recipe = recipe;
  if (!codec->open()) return nullptr;
  return std::unique_ptr<X264Encoder>(new X264Encoder(std::move(codec)));
}

std::optional<CodedFrame> X264Encoder::encode(std::shared_ptr<const PixelBuffer> frame,
                                              Clock::time_point presentationTime,
                                              const FrameNotes& notes) {
  Codec& codec = *codec_;
  if (!frame || frame->size() != codec.options.size) {
    // The next picture cannot count on what this one was to change.
    codec.referenceKept = false;
    return std::nullopt;
  }
  codec.gather(presentationTime);
  const bool keyFrame =
      notes.keyFrame || ++codec.sinceKeyFrame >= codec.options.maxKeyFrameInterval;
  if (keyFrame) codec.sinceKeyFrame = 0;
  std::optional<CodedFrame> result;
  if (auto patches = keyFrame ? std::nullopt : codec.codePatches(*frame, notes)) {
    result.emplace().data = std::make_shared<const Bytes>(std::move(*patches));
  } else {
    codec.grant(notes.refine);
    result = codec.codeWhole(*frame, notes, keyFrame);
  }
  if (result) {
    result->presentationTime = presentationTime;
    codec.ahead += static_cast<double>(result->data->size());
  }
  return result;
}

void X264Encoder::setBitRate(int bitsPerSecond) {
  codec_->bitRate = std::clamp(bitsPerSecond, 1, codec_->options.averageBitRate);
}

}  // namespace tessaline::platform
