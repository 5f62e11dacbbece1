#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

#include "platform/VideoCoding.h"

namespace tessaline::platform {

/// libavcodec's H.264 decoder, fed as a display device feeds its own: parameter sets before each
/// key frame, one access unit at a time, no output waited for.
class StreamDecoder {
 public:
  struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };
  using Picture = std::unique_ptr<AVFrame, FreeFrame>;  // planar 4:2:0

  StreamDecoder();
  ~StreamDecoder();
  StreamDecoder(const StreamDecoder&) = delete;
  StreamDecoder& operator=(const StreamDecoder&) = delete;

  /// The picture of `frame`; nothing when the decoder refused it or holds it back.
  [[nodiscard]] Picture decode(const CodedFrame& frame);

  /// What the decoder read from the stream.
  [[nodiscard]] const AVCodecContext& stream() const { return *context_; }

 private:
  AVCodecContext* context_;
};

/// Peak signal-to-noise ratio of the luma planes, in dB; 99 for equal ones.
[[nodiscard]] double lumaPsnr(const PixelBuffer& original, const AVFrame& decoded);

}  // namespace tessaline::platform
