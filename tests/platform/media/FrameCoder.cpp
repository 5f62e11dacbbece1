#include "platform/media/FrameCoder.h"

#include <stdexcept>
#include <utility>

namespace tessaline::test {

FrameCoder::FrameCoder(platform::VideoCoding& coding, PixelSize size, int bitRate) {
  platform::CompressionOptions options;
  options.size = size;
  options.averageBitRate = bitRate;
  auto made = coding.createCompressionSession(
      options, {.onOutput = [this](std::optional<platform::CodedFrame> frame) {
        const std::lock_guard lock(mutex_);
        outputs_.push_back(std::move(frame));
        arrived_.notify_all();
      }});
  if (!made) throw std::runtime_error("no encoder: " + made.error());
  session_ = std::move(*made);
}

std::optional<platform::CodedFrame> FrameCoder::tryCode(
    std::shared_ptr<const platform::PixelBuffer> picture, bool keyFrame, Duration gap) {
  time_ += gap;
  session_->encode(std::move(picture), time_, {.keyFrame = keyFrame, .coarse = coarse});
  std::unique_lock lock(mutex_);
  if (!arrived_.wait_for(lock, std::chrono::seconds(30), [&] { return !outputs_.empty(); })) {
    throw std::runtime_error("the encoder made nothing");
  }
  auto frame = std::move(outputs_.front());
  outputs_.pop_front();
  return frame;
}

}  // namespace tessaline::test
