#include "platform/common/media/H264Decoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
}

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/common/media/ChangedArea.h"

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

/// What an access unit holds for the decoder, and what it says of its picture.
struct Content {
  std::size_t bytes = 0;
  std::optional<PixelRect> changed;  // macroblocks
};

/// Copies NAL units that fill the access unit exactly and leave the format as it is to `packet`,
/// which is as large. User data stay behind: libavcodec would keep all of them with the picture.
std::optional<Content> copyUnits(ByteView accessUnit, std::uint8_t* packet) {
  ByteReader reader(accessUnit);
  Content content;
  int notes = 0;
  bool keyFrame = false;
  while (!reader.rest().empty()) {
    const auto start = reader.rest();
    const auto length = reader.u32();
    const auto unit = length ? reader.take(*length) : std::nullopt;
    if (!unit || unit->empty()) return std::nullopt;
    const int type = unit->front() & kUnitTypeMask;
    if (type == kSequenceParameterSet) return std::nullopt;
    if (type == kUserDataUnit) {
      content.changed = ++notes == 1 ? readChangedArea(*unit) : std::nullopt;
      continue;
    }
    keyFrame = keyFrame || type == kKeyFrameSlice;
    const std::size_t size = start.size() - reader.rest().size();
    std::memcpy(packet + content.bytes, start.data(), size);
    content.bytes += size;
  }
  if (keyFrame) content.changed.reset();
  return content;
}

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
  bool gap = true;  // the picture before is not one that was handed out

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
    return avcodec_open2(context, decoder, nullptr) >= 0;
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
  const bool afterGap = std::exchange(codec_->gap, true);
  // The one copy of a picture's bytes between the network and the decoder, which wants padding.
  if (av_new_packet(codec_->packet, static_cast<int>(accessUnit.size())) < 0) return nullptr;
  const auto content = copyUnits(accessUnit, codec_->packet->data);
  int sent = -1;
  if (content && content->bytes > 0) {
    av_shrink_packet(codec_->packet, static_cast<int>(content->bytes));
    sent = avcodec_send_packet(codec_->context, codec_->packet);
  }
  av_packet_unref(codec_->packet);
  if (sent < 0) return nullptr;
  Frame frame = codec_->receive();
  if (!frame) return nullptr;
  frame = codec_->readable(std::move(frame));
  if (!frame) return nullptr;
  codec_->gap = false;
  std::optional<PixelRect> changed;
  if (content->changed && !afterGap) {
    changed = inPixels(*content->changed, {frame->width, frame->height});
  }
  return std::make_shared<FramePicture>(std::move(frame), changed);
}

}  // namespace tessaline::platform
