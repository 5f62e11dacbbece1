#pragma once

#include <memory>
#include <string>

#include "platform/VideoDecoding.h"

namespace tessaline::platform {

/// One libavcodec H.264 decoder for one format: an access unit in, its picture out, at once.
/// Belongs to one thread.
class H264Decoder {
 public:
  enum class Device { none, vaapi, cuda };

  /// A decoder on `device`; nothing when there is no such device or it does not take the format.
  [[nodiscard]] static std::unique_ptr<H264Decoder> open(const VideoFormat& format, Device device);
  ~H264Decoder();

  /// Nothing when `accessUnit` cannot be decoded, or carries parameter sets: those have a message
  /// of their own, which is checked.
  [[nodiscard]] std::shared_ptr<const VideoPicture> decode(ByteView accessUnit);

 private:
  struct Codec;
  explicit H264Decoder(std::unique_ptr<Codec> codec);
  const std::unique_ptr<Codec> codec_;
};

}  // namespace tessaline::platform
