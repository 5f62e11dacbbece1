#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/VideoCoding.h"

namespace tessaline::test {

/// The real encoder, one picture in, one frame out. Its calls wait; they throw where the encoder
/// says nothing at all.
class FrameCoder {
 public:
  FrameCoder(platform::VideoCoding& coding, PixelSize size, int bitRate = 25'000'000);
  /// `picture`, that much later than the one before; nothing when it cannot be coded.
  std::optional<platform::CodedFrame> tryCode(
      std::shared_ptr<const platform::PixelBuffer> picture, bool keyFrame = false,
      Duration gap = std::chrono::duration_cast<Duration>(std::chrono::seconds(1)) / 60);
  /// Whether the pictures that follow may be coarse.
  bool coarse = false;
  platform::CodedFrame code(std::shared_ptr<const platform::PixelBuffer> picture,
                            bool keyFrame = false) {
    return tryCode(std::move(picture), keyFrame).value();
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::optional<platform::CodedFrame>> outputs_;
  Clock::time_point time_;
  std::unique_ptr<platform::CompressionSession> session_;  // last: its output uses the rest
};

}  // namespace tessaline::test
