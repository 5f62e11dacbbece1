#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "base/Queue.h"
#include "platform/VideoCoding.h"
#include "platform/common/media/PictureEncoder.h"

namespace tessaline::platform {

/// The compression session over one open encoder. Frames wait in a mailbox for one, whose content
/// the newest replaces; encoding and output happen on a thread queue that the session owns alone.
/// Destroying it waits for the picture that is being coded, at most.
class FFmpegCompressionSession final : public CompressionSession {
 public:
  FFmpegCompressionSession(std::unique_ptr<PictureEncoder> encoder, std::shared_ptr<Queue> queue,
                           Callbacks callbacks);
  ~FFmpegCompressionSession() override;

  void encode(std::shared_ptr<const PixelBuffer> frame, Clock::time_point presentationTime,
              FrameNotes notes) override;
  void setBitRate(int bitsPerSecond) override;
  [[nodiscard]] int pendingFrames() const override;

 private:
  class Worker;
  const std::shared_ptr<Worker> worker_;
  const std::shared_ptr<Queue> queue_;  // its thread ends with the session
};

}  // namespace tessaline::platform
