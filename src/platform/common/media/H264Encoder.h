#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/VideoCoding.h"
#include "platform/common/media/AccessUnit.h"

namespace tessaline::platform {

/// How one of libavcodec's encoders is set up for interactive latency.
struct EncoderRecipe {
  std::string codec;                                         ///< libavcodec's name
  std::vector<std::pair<std::string, std::string>> options;  ///< the codec's own options
  NalFraming framing = NalFraming::startCodes;
  bool uploads = false;      ///< frames go to a VA-API surface first
  bool constantRate = true;  ///< false: constant quality, the bit rate is its upper limit
  int threads = 1;           ///< slices coded at the same time
  /// What one frame may take after a quiet time, in frames' worth of the average bit rate.
  double windowFrames = 1;
};

/// One open libavcodec encoder: a picture in, its access unit out, at once. Lives on the thread of
/// the compression session that owns it.
class H264Encoder {
 public:
  struct Opened {
    std::unique_ptr<H264Encoder> encoder;  ///< nothing on failure
    int status = 0;                        ///< libavcodec's, negative on failure
  };
  [[nodiscard]] static Opened open(const EncoderRecipe& recipe, const CompressionOptions& options);
  ~H264Encoder();
  H264Encoder(const H264Encoder&) = delete;
  H264Encoder& operator=(const H264Encoder&) = delete;

  /// Nothing when encoding failed or `frame` has another size than the encoder was opened for.
  [[nodiscard]] std::optional<CodedFrame> encode(std::shared_ptr<const PixelBuffer> frame,
                                                 Clock::time_point presentationTime,
                                                 bool forceKeyFrame);

 private:
  struct Codec;
  explicit H264Encoder(std::unique_ptr<Codec> codec);
  const std::unique_ptr<Codec> codec_;
};

}  // namespace tessaline::platform
