#pragma once

#include <memory>

#include "base/Queue.h"
#include "platform/VideoDecoding.h"

namespace tessaline::platform {

/// The decompression session over libavcodec. Samples wait in a line of their own and are decoded
/// on a thread queue that the session owns alone; a new format gets a new decoder. Destroying the
/// session waits for the picture that is being decoded, at most.
class FFmpegDecompressionSession final : public DecompressionSession {
 public:
  FFmpegDecompressionSession(std::shared_ptr<Queue> queue, Callbacks callbacks);
  ~FFmpegDecompressionSession() override;

  void decode(VideoSample sample) override;
  void flush() override;

 private:
  class Worker;
  const std::shared_ptr<Worker> worker_;
  const std::shared_ptr<Queue> queue_;  // its thread ends with the session
};

}  // namespace tessaline::platform
