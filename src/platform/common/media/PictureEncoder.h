#pragma once

#include <memory>
#include <optional>

#include "platform/VideoCoding.h"

namespace tessaline::platform {

/// One open encoder: a picture in, its access unit out, at once. Lives on the thread of the
/// compression session that owns it.
class PictureEncoder {
 public:
  virtual ~PictureEncoder() = default;
  /// Nothing when encoding failed or `frame` has another size than the encoder was opened for.
  [[nodiscard]] virtual std::optional<CodedFrame> encode(std::shared_ptr<const PixelBuffer> frame,
                                                         Clock::time_point presentationTime,
                                                         const FrameNotes& notes) = 0;
  virtual void setBitRate(int bitsPerSecond) = 0;
};

}  // namespace tessaline::platform
