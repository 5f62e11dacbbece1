#include "platform/common/media/H264Decoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/common/media/ChangedArea.h"
#include "platform/common/media/DecodedPictures.h"
#include "platform/common/media/SliceHeader.h"

namespace tessaline::platform {
namespace {

// Slices of one picture are decoded side by side; a thread for each whole picture would hold
// pictures back. No encoder here makes more slices than this.
constexpr unsigned kSliceThreads = 4;
// The level's bound on a picture, once more for libavcodec: pixels.
constexpr std::int64_t kMaximumPixels = std::int64_t{139'264} * 256;

constexpr std::uint8_t kUnitTypeMask = 31;
constexpr std::uint8_t kSequenceParameterSet = 7;
constexpr std::uint8_t kKeyFrameSlice = 5;

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FreeFrame>;

/// A picture whose memory is a frame's.
class FramePicture final : public VideoPicture {
 public:
  FramePicture(Frame frame, const std::optional<PixelRect>& area) : frame_(std::move(frame)) {
    changed = area;
    size = {frame_->width, frame_->height};
    layout = frame_->format == AV_PIX_FMT_NV12 ? Layout::biPlanar : Layout::planar;
    const std::size_t count = layout == Layout::biPlanar ? 2 : 3;
    for (std::size_t i = 0; i < count; ++i) planes[i] = {frame_->data[i], frame_->linesize[i]};
    fullRange = frame_->color_range == AVCOL_RANGE_JPEG || frame_->format == AV_PIX_FMT_YUVJ420P;
    switch (frame_->colorspace) {
      case AVCOL_SPC_BT709:
        matrix = Matrix::bt709;
        break;
      case AVCOL_SPC_BT2020_NCL:
      case AVCOL_SPC_BT2020_CL:
        matrix = Matrix::bt2020;
        break;
      default:  // a stream that says nothing comes from a converter that knows BT.601 only
        matrix = Matrix::bt601;
    }
  }

 private:
  const Frame frame_;
};

/// The decoder configuration record of ISO 14496-15: parameter sets, and lengths of 4 bytes.
Bytes configurationRecord(const ParameterSets& sets) {
  constexpr std::uint8_t kVersion = 1;
  constexpr std::uint8_t kFourByteLengths = 0xFF;
  constexpr std::uint8_t kOneSequenceSet = 0xE1;
  constexpr std::uint8_t kOnePictureSet = 1;
  ByteWriter writer;
  writer.u8(kVersion).append(ByteView(sets.sequence).subspan(1, 3)).u8(kFourByteLengths);
  writer.u8(kOneSequenceSet).u16(static_cast<std::uint16_t>(sets.sequence.size()));
  writer.append(sets.sequence).u8(kOnePictureSet);
  writer.u16(static_cast<std::uint16_t>(sets.picture.size())).append(sets.picture);
  return writer.take();
}

/// What an access unit says of its picture.
struct Notice {
  std::optional<PixelRect> changed;  // macroblocks
};

std::optional<ByteView> nextUnit(ByteReader& reader) {
  const auto length = reader.u32();
  const auto unit = length ? reader.take(*length) : std::nullopt;
  return unit && !unit->empty() ? unit : std::nullopt;
}

int typeOf(ByteView unit) {
  return unit.front() & kUnitTypeMask;
}

/// Nothing when the NAL units do not fill the access unit exactly or do not leave the format as it
/// is.
std::optional<Notice> readNotice(ByteView accessUnit) {
  ByteReader reader(accessUnit);
  Notice notice;
  int notes = 0;
  bool keyFrame = false;
  while (!reader.rest().empty()) {
    const auto unit = nextUnit(reader);
    if (!unit || typeOf(*unit) == kSequenceParameterSet) return std::nullopt;
    if (typeOf(*unit) == kUserDataUnit) {
      notice.changed = ++notes == 1 ? readChangedArea(*unit) : std::nullopt;
    }
    keyFrame = keyFrame || typeOf(*unit) == kKeyFrameSlice;
  }
  if (keyFrame) notice.changed.reset();
  return notice;
}

/// Copies the NAL units that are to be decoded to `packet`, which is as large as the access unit.
/// User data stay behind: libavcodec would keep all of them with the picture. So do slices outside
/// of the macroblocks `wanted`, if given.
class UnitCopy {
 public:
  UnitCopy(std::uint8_t* packet, std::optional<std::pair<std::uint32_t, std::uint32_t>> wanted)
      : packet_(packet), wanted_(wanted) {}

  void copy(ByteView accessUnit) {
    ByteReader reader(accessUnit);
    while (!reader.rest().empty()) {
      const auto unit = nextUnit(reader);
      if (!unit || typeOf(*unit) == kUserDataUnit) continue;
      const auto first = wanted_ ? firstMacroblock(*unit) : std::nullopt;
      settle(first);
      if (first) {
        slice_ = *unit;
        sliceFirst_ = *first;
      } else {
        add(*unit);
      }
    }
    settle(std::nullopt);
  }

  [[nodiscard]] std::size_t bytes() const { return bytes_; }
  [[nodiscard]] bool leftOut() const { return leftOut_; }

 private:
  /// The slice that waits reaches up to `next`, or to the picture's end.
  void settle(std::optional<std::uint32_t> next) {
    if (!slice_) return;
    const auto slice = *std::exchange(slice_, std::nullopt);
    const bool above = next && *next > sliceFirst_ && *next <= wanted_->first;
    const bool below = sliceFirst_ >= wanted_->second;
    if (above || below) {
      leftOut_ = true;
    } else {
      add(slice);
    }
  }
  void add(ByteView unit) {
    const ByteView withLength(unit.data() - sizeof(std::uint32_t),
                              unit.size() + sizeof(std::uint32_t));
    std::memcpy(packet_ + bytes_, withLength.data(), withLength.size());
    bytes_ += withLength.size();
  }

  std::uint8_t* const packet_;
  const std::optional<std::pair<std::uint32_t, std::uint32_t>> wanted_;
  std::optional<ByteView> slice_;
  std::uint32_t sliceFirst_ = 0;
  std::size_t bytes_ = 0;
  bool leftOut_ = false;
};

/// In pixels of the picture.
PixelRect inPixels(const PixelRect& area, PixelSize picture) {
  const PixelRect inside = intersected({area.x * kMacroblock, area.y * kMacroblock,
                                        area.width * kMacroblock, area.height * kMacroblock},
                                       {0, 0, picture.width, picture.height});
  return inside.empty() ? PixelRect() : inside;
}

AVPixelFormat hardwareFormat(H264Decoder::Device device) {
  return device == H264Decoder::Device::vaapi ? AV_PIX_FMT_VAAPI : AV_PIX_FMT_CUDA;
}

AVPixelFormat chooseVaapi(AVCodecContext*, const AVPixelFormat* offered) {
  for (; *offered != AV_PIX_FMT_NONE; ++offered) {
    if (*offered == AV_PIX_FMT_VAAPI) return *offered;
  }
  return AV_PIX_FMT_NONE;
}

AVPixelFormat chooseCuda(AVCodecContext*, const AVPixelFormat* offered) {
  for (; *offered != AV_PIX_FMT_NONE; ++offered) {
    if (*offered == AV_PIX_FMT_CUDA) return *offered;
  }
  return AV_PIX_FMT_NONE;
}

}  // namespace

struct H264Decoder::Codec {
  AVCodecContext* context = nullptr;
  AVPacket* packet = av_packet_alloc();
  Device device = Device::none;
  bool gap = true;           // the picture before is not one that was handed out
  DecodedPictures pictures;  // of a decoder without a device

  Codec() = default;
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;
  ~Codec() {
    av_packet_free(&packet);
    avcodec_free_context(&context);
  }

  bool open(const VideoFormat& format) {
    const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_H264);
    context = decoder != nullptr ? avcodec_alloc_context3(decoder) : nullptr;
    if (context == nullptr || packet == nullptr) return false;
    const Bytes record = configurationRecord(format.parameterSets);
    context->extradata =
        static_cast<std::uint8_t*>(av_mallocz(record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (context->extradata == nullptr) return false;
    std::memcpy(context->extradata, record.data(), record.size());
    context->extradata_size = static_cast<int>(record.size());
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    context->max_pixels = kMaximumPixels;
    context->thread_type = FF_THREAD_SLICE;
    context->thread_count =
        static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, kSliceThreads));
    if (device != Device::none && !useDevice()) return false;
    if (device == Device::none) {
      pictures.serve(*context);
      // What is left out is not missing: libavcodec is not to guess it.
      av_opt_set_int(context->priv_data, "enable_er", 0, 0);
    }
    return avcodec_open2(context, decoder, nullptr) >= 0;
  }

  /// The macroblocks that have to be decoded when only `changed` is different; nothing: all.
  [[nodiscard]] std::optional<std::pair<std::uint32_t, std::uint32_t>> wanted(
      const std::optional<PixelRect>& changed) const {
    const auto size = pictures.repeatable();
    if (!size || !changed) return std::nullopt;
    const PixelRect rows = intersected(*changed, {0, 0, size->width, size->height});
    if (rows.empty()) return std::nullopt;
    return std::pair(static_cast<std::uint32_t>(rows.y * size->width),
                     static_cast<std::uint32_t>((rows.y + rows.height) * size->width));
  }

  bool useDevice() {
    const bool vaapi = device == Device::vaapi;
    context->thread_count = 1;
    context->hwaccel_flags |= AV_HWACCEL_FLAG_ALLOW_PROFILE_MISMATCH;
    context->get_format = vaapi ? chooseVaapi : chooseCuda;
    return av_hwdevice_ctx_create(&context->hw_device_ctx,
                                  vaapi ? AV_HWDEVICE_TYPE_VAAPI : AV_HWDEVICE_TYPE_CUDA, nullptr,
                                  nullptr, 0) >= 0;
  }

  /// The newest picture that the decoder has; it never has more than one for one access unit.
  Frame receive() {
    Frame newest;
    for (;;) {
      Frame frame(av_frame_alloc());
      if (!frame || avcodec_receive_frame(context, frame.get()) < 0) return newest;
      newest = std::move(frame);
    }
  }

  /// `frame` in the computer's own memory, in a layout that can be shown.
  [[nodiscard]] Frame readable(Frame frame) const {
    if (device != Device::none && frame->format == hardwareFormat(device)) {
      Frame copy(av_frame_alloc());
      if (!copy || av_hwframe_transfer_data(copy.get(), frame.get(), 0) < 0) return nullptr;
      av_frame_copy_props(copy.get(), frame.get());
      frame = std::move(copy);
    }
    switch (frame->format) {
      case AV_PIX_FMT_YUV420P:
      case AV_PIX_FMT_YUVJ420P:
      case AV_PIX_FMT_NV12:
        return frame;
      default:
        return nullptr;
    }
  }
};

H264Decoder::H264Decoder(std::unique_ptr<Codec> codec) : codec_(std::move(codec)) {}
H264Decoder::~H264Decoder() = default;

std::unique_ptr<H264Decoder> H264Decoder::open(const VideoFormat& format, Device device) {
  auto codec = std::make_unique<Codec>();
  codec->device = device;
  if (!codec->open(format)) return nullptr;
  return std::unique_ptr<H264Decoder>(new H264Decoder(std::move(codec)));
}

std::shared_ptr<const VideoPicture> H264Decoder::decode(ByteView accessUnit) {
  auto notice = readNotice(accessUnit);
  if (std::exchange(codec_->gap, true)) {
    codec_->pictures.forget();
    if (notice) notice->changed.reset();
  }
  // The one copy of a picture's bytes between the network and the decoder, which wants padding.
  if (!notice || av_new_packet(codec_->packet, static_cast<int>(accessUnit.size())) < 0) {
    return nullptr;
  }
  UnitCopy units(codec_->packet->data, codec_->wanted(notice->changed));
  units.copy(accessUnit);
  codec_->pictures.repeatNext(units.leftOut());
  int sent = -1;
  if (units.bytes() > 0) {
    av_shrink_packet(codec_->packet, static_cast<int>(units.bytes()));
    sent = avcodec_send_packet(codec_->context, codec_->packet);
  }
  av_packet_unref(codec_->packet);
  if (sent < 0) return nullptr;
  Frame frame = codec_->receive();
  if (!frame) return nullptr;
  codec_->pictures.decoded(*frame, notice->changed);
  frame = codec_->readable(std::move(frame));
  if (!frame) return nullptr;
  codec_->gap = false;
  std::optional<PixelRect> changed;
  if (notice->changed) changed = inPixels(*notice->changed, {frame->width, frame->height});
  return std::make_shared<FramePicture>(std::move(frame), changed);
}

}  // namespace tessaline::platform
