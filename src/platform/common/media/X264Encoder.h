#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/common/media/PictureEncoder.h"

namespace tessaline::platform {

/// How x264 is set up for interactive latency.
struct X264Recipe {
  std::string preset;
  std::vector<std::pair<std::string, std::string>> parameters;  ///< on top of it
  /// Constant quality, x264's rate factors: of what moves, and of what stands still. The bit rate
  /// is an upper limit.
  float quality = 0;
  float stillQuality = 0;
  int patchQp = 0;  ///< quantiser of small changes
  int threads = 1;  ///< slices coded at the same time
  /// What one frame may take after a quiet time, in frames' worth of the average bit rate.
  double windowFrames = 1;
  /// The same on a network that carries less than the session's bit rate.
  double slowWindowFrames = 1;
};

/// One open x264 encoder. Pictures of which little has changed are coded by a `PatchCoder` instead,
/// on x264's own reference picture.
class X264Encoder final : public PictureEncoder {
 public:
  /// Nothing when x264 refuses the options.
  [[nodiscard]] static std::unique_ptr<X264Encoder> open(const X264Recipe& recipe,
                                                         const CompressionOptions& options);
  ~X264Encoder() override;
  X264Encoder(const X264Encoder&) = delete;
  X264Encoder& operator=(const X264Encoder&) = delete;

  [[nodiscard]] std::optional<CodedFrame> encode(std::shared_ptr<const PixelBuffer> frame,
                                                 Clock::time_point presentationTime,
                                                 const FrameNotes& notes) override;
  void setBitRate(int bitsPerSecond) override;

 private:
  struct Codec;
  explicit X264Encoder(std::unique_ptr<Codec> codec);
  const std::unique_ptr<Codec> codec_;
};

}  // namespace tessaline::platform
