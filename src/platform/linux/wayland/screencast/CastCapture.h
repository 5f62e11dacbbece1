#pragma once

#include <memory>
#include <vector>

#include "platform/common/media/CaptureWorker.h"
#include "platform/linux/wayland/screencast/CastFrames.h"

namespace tessaline::platform {

/// Turns the pictures of a screen cast into frames, as often as the configuration allows and
/// only while the consumer is ready; until then the newest picture waits where it is. Lives on the
/// capture queue.
class CastCapture final : public CaptureWorker {
 public:
  CastCapture(std::shared_ptr<CastFrames> frames, const CaptureConfiguration& configuration,
              std::shared_ptr<Queue> main, std::shared_ptr<Queue> queue,
              CaptureStream::Callbacks callbacks);

  void stop() override;

 private:
  void open() override;
  void evaluate() override;
  void close() override;
  /// False when there is nothing to capture (yet or any more).
  bool follow();
  void takeFrame();
  /// Sees to it that a frame of the whole picture follows one of `rects`.
  void followWithWhole(const std::vector<PixelRect>& rects);

  const std::shared_ptr<CastFrames> frames_;
  Timer wholeTimer_;  // runs since a frame was made of a part of the picture only
};

}  // namespace tessaline::platform
