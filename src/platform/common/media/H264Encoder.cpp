#include "platform/common/media/H264Encoder.h"

#include "platform/common/media/AccessUnit.h"
#include "platform/common/media/SequenceParameterSet.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cerrno>

namespace tessaline::platform {
namespace {

template <auto free>
struct Freed {
  template <typename T>
  void operator()(T* object) const {
    free(&object);
  }
};
using Context = std::unique_ptr<AVCodecContext, Freed<avcodec_free_context>>;
using Frame = std::unique_ptr<AVFrame, Freed<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Freed<av_packet_free>>;
using BufferRef = std::unique_ptr<AVBufferRef, Freed<av_buffer_unref>>;

// Pictures that may be on their way through a VA-API encoder: the one being coded, its reference
// and what the driver keeps.
constexpr int kSurfaces = 8;

// H.264's own number; FFmpeg's name for it differs between its versions.
constexpr int kHighProfile = 100;

/// A frame that shares `pixels`. The encoder only reads it.
Frame wrap(std::shared_ptr<const PixelBuffer> pixels, PixelSize size) {
  Frame frame(av_frame_alloc());
  if (!frame) return nullptr;
  auto* const luma = const_cast<std::uint8_t*>(pixels->luma());
  auto* const chroma = const_cast<std::uint8_t*>(pixels->chroma());
  frame->format = AV_PIX_FMT_NV12;
  frame->width = size.width;
  frame->height = size.height;
  frame->data[0] = luma;
  frame->data[1] = chroma;
  frame->linesize[0] = frame->linesize[1] = pixels->stride();
  const auto rows = static_cast<std::size_t>((pixels->size().height + 1) / 2);
  const auto bytes = static_cast<std::size_t>(pixels->stride()) * rows;
  auto keep = std::make_unique<std::shared_ptr<const PixelBuffer>>(std::move(pixels));
  const auto release = [](void* opaque, std::uint8_t*) {
    delete static_cast<std::shared_ptr<const PixelBuffer>*>(opaque);
  };
  frame->buf[0] = av_buffer_create(luma, bytes * 2, release, keep.get(), AV_BUFFER_FLAG_READONLY);
  if (!frame->buf[0]) return nullptr;
  static_cast<void>(keep.release());
  frame->buf[1] = av_buffer_create(
      chroma, bytes, [](void*, std::uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
  return frame->buf[1] ? std::move(frame) : nullptr;
}

/// Surfaces of the first VA-API device.
BufferRef createSurfaces(PixelSize size, int& status) {
  AVBufferRef* rawDevice = nullptr;
  status = av_hwdevice_ctx_create(&rawDevice, AV_HWDEVICE_TYPE_VAAPI, nullptr, nullptr, 0);
  if (status < 0) return nullptr;
  const BufferRef device(rawDevice);
  BufferRef surfaces(av_hwframe_ctx_alloc(device.get()));
  if (!surfaces) {
    status = AVERROR(ENOMEM);
    return nullptr;
  }
  auto* const frames = reinterpret_cast<AVHWFramesContext*>(surfaces->data);
  frames->format = AV_PIX_FMT_VAAPI;
  frames->sw_format = AV_PIX_FMT_NV12;
  frames->width = size.width;
  frames->height = size.height;
  frames->initial_pool_size = kSurfaces;
  status = av_hwframe_ctx_init(surfaces.get());
  return status < 0 ? nullptr : std::move(surfaces);
}

void describePicture(AVCodecContext& context, const CompressionOptions& options, PixelSize size) {
  context.width = size.width;
  context.height = size.height;
  context.pix_fmt = AV_PIX_FMT_NV12;
  context.sample_aspect_ratio = {1, 1};
  context.time_base = {1, options.expectedFrameRate};
  context.framerate = {options.expectedFrameRate, 1};
  // A desktop's sRGB, converted as BT.601 says. Other primaries or another transfer would make a
  // decoder that manages colours shift them.
  context.color_range = AVCOL_RANGE_MPEG;
  context.colorspace = AVCOL_SPC_SMPTE170M;
  context.color_primaries = AVCOL_PRI_BT709;
  context.color_trc = AVCOL_TRC_IEC61966_2_1;
  context.chroma_sample_location = AVCHROMA_LOC_LEFT;
}

void describeStream(AVCodecContext& context, const CompressionOptions& options,
                    const EncoderRecipe& recipe) {
  context.profile = kHighProfile;
  context.gop_size = options.maxKeyFrameInterval;
  context.max_b_frames = 0;
  context.refs = 1;
  context.flags |= AV_CODEC_FLAG_CLOSED_GOP | AV_CODEC_FLAG_LOW_DELAY;
  context.bit_rate = options.averageBitRate;
  context.rc_max_rate = options.averageBitRate;
  context.rc_buffer_size =
      static_cast<int>(options.averageBitRate * recipe.windowFrames / options.expectedFrameRate);
  context.rc_initial_buffer_occupancy = context.rc_buffer_size;
}

}  // namespace

struct H264Encoder::Codec {
  CompressionOptions options;
  EncoderRecipe recipe;
  PixelSize codedSize;  // in whole chroma samples
  BufferRef surfaces;   // only where pictures are uploaded
  Context context;
  Packet packet;
  std::int64_t frameNumber = 0;

  int open();
  [[nodiscard]] Frame prepare(std::shared_ptr<const PixelBuffer> pixels) const;
};

int H264Encoder::Codec::open() {
  codedSize = {options.size.width & ~1, options.size.height & ~1};
  if (codedSize.width <= 0 || codedSize.height <= 0 || options.averageBitRate <= 0 ||
      options.expectedFrameRate <= 0) {
    return AVERROR(EINVAL);
  }
  const AVCodec* const encoder = avcodec_find_encoder_by_name(recipe.codec.c_str());
  if (!encoder) return AVERROR_ENCODER_NOT_FOUND;
  context.reset(avcodec_alloc_context3(encoder));
  packet.reset(av_packet_alloc());
  if (!context || !packet) return AVERROR(ENOMEM);

  describePicture(*context, options, codedSize);
  describeStream(*context, options, recipe);
  if (recipe.uploads) {
    int status = 0;
    surfaces = createSurfaces(codedSize, status);
    if (!surfaces) return status;
    context->pix_fmt = AV_PIX_FMT_VAAPI;
    context->hw_frames_ctx = av_buffer_ref(surfaces.get());
    if (!context->hw_frames_ctx) return AVERROR(ENOMEM);
  }
  for (const auto& [name, value] : recipe.options) {
    const int status = av_opt_set(context->priv_data, name.c_str(), value.c_str(), 0);
    if (status < 0) return status;
  }
  return avcodec_open2(context.get(), encoder, nullptr);
}

Frame H264Encoder::Codec::prepare(std::shared_ptr<const PixelBuffer> pixels) const {
  Frame frame = wrap(std::move(pixels), codedSize);
  if (!frame || !surfaces) return frame;
  Frame surface(av_frame_alloc());
  if (!surface || av_hwframe_get_buffer(surfaces.get(), surface.get(), 0) < 0 ||
      av_hwframe_transfer_data(surface.get(), frame.get(), 0) < 0) {
    return nullptr;
  }
  return surface;
}

H264Encoder::H264Encoder(std::unique_ptr<Codec> codec) : codec_(std::move(codec)) {}
H264Encoder::~H264Encoder() = default;

H264Encoder::Opened H264Encoder::open(const EncoderRecipe& recipe,
                                      const CompressionOptions& options) {
  auto codec = std::make_unique<Codec>();
  codec->options = options;
  codec->recipe = recipe;
  const int status = codec->open();
  if (status < 0) return {nullptr, status};
  return {std::unique_ptr<H264Encoder>(new H264Encoder(std::move(codec))), 0};
}

std::optional<CodedFrame> H264Encoder::encode(std::shared_ptr<const PixelBuffer> frame,
                                              Clock::time_point presentationTime,
                                              const FrameNotes& notes) {
  if (!frame || frame->size() != codec_->options.size) return std::nullopt;
  const Frame picture = codec_->prepare(std::move(frame));
  if (!picture) return std::nullopt;
  picture->pts = codec_->frameNumber++;
  picture->pict_type = notes.keyFrame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
  AVPacket* const packet = codec_->packet.get();
  if (avcodec_send_frame(codec_->context.get(), picture.get()) < 0 ||
      avcodec_receive_packet(codec_->context.get(), packet) < 0) {
    return std::nullopt;
  }
  auto unit = splitAccessUnit({packet->data, static_cast<std::size_t>(packet->size)},
                              NalFraming::startCodes);
  const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
  av_packet_unref(packet);
  if (!unit || (key && !unit->parameterSets)) return std::nullopt;
  CodedFrame result;
  result.keyFrame = key;
  result.presentationTime = presentationTime;
  result.data = std::make_shared<const Bytes>(std::move(unit->slices));
  if (key) {
    result.parameterSets = std::move(unit->parameterSets);
    completeSequenceParameterSet(result.parameterSets->sequence);
  }
  return result;
}

void H264Encoder::setBitRate(int bitsPerSecond) {
  // The encoders look at these before each frame, as far as their drivers can.
  codec_->context->bit_rate = bitsPerSecond;
  codec_->context->rc_max_rate = bitsPerSecond;
}

}  // namespace tessaline::platform
