#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/common/media/PictureEncoder.h"

namespace tessaline::platform {

/// How one of libavcodec's hardware encoders is set up for interactive latency.
struct EncoderRecipe {
  std::string codec;                                         ///< libavcodec's name
  std::vector<std::pair<std::string, std::string>> options;  ///< the codec's own options
  bool uploads = false;  ///< frames go to a VA-API surface first
  /// What one frame may take after a quiet time, in frames' worth of the average bit rate.
  double windowFrames = 1;
};

/// One open hardware encoder of libavcodec.
class H264Encoder final : public PictureEncoder {
 public:
  struct Opened {
    std::unique_ptr<H264Encoder> encoder;  ///< nothing on failure
    int status = 0;                        ///< libavcodec's, negative on failure
  };
  [[nodiscard]] static Opened open(const EncoderRecipe& recipe, const CompressionOptions& options);
  ~H264Encoder() override;
  H264Encoder(const H264Encoder&) = delete;
  H264Encoder& operator=(const H264Encoder&) = delete;

  [[nodiscard]] std::optional<CodedFrame> encode(std::shared_ptr<const PixelBuffer> frame,
                                                 Clock::time_point presentationTime,
                                                 const FrameNotes& notes) override;
  void setBitRate(int bitsPerSecond) override;

 private:
  struct Codec;
  explicit H264Encoder(std::unique_ptr<Codec> codec);
  const std::unique_ptr<Codec> codec_;
};

}  // namespace tessaline::platform
