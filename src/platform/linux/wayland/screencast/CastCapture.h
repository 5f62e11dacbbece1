#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/common/media/FrameComposer.h"
#include "platform/linux/wayland/screencast/CastFrames.h"

namespace tessaline::platform {

/// Turns the pictures of a screen cast into frames, at most one in each minimum interval and only
/// while the consumer is ready; until then the newest picture waits where it is. Lives on the
/// capture queue; shared by its stream and by the work that it posted.
class CastCapture : public std::enable_shared_from_this<CastCapture> {
 public:
  CastCapture(std::shared_ptr<CastFrames> frames, const CaptureConfiguration& configuration,
              std::shared_ptr<Queue> main, std::shared_ptr<Queue> queue,
              CaptureStream::Callbacks callbacks);

  /// From the main queue. `done` runs there, unless `stop` comes first.
  void start(std::function<void(std::optional<std::string> error)> done);
  /// From the main queue; no callback runs once it has returned.
  void stop();
  /// From any thread.
  void wake();

 private:
  /// Evaluates on the capture queue; from any thread.
  void schedule();
  /// Takes a frame if there is something to take and it is time for it.
  void evaluate();
  /// False when there is nothing to capture (yet or any more).
  bool follow();
  void finishStart(std::optional<std::string> error);
  [[nodiscard]] bool consumerReady();
  void takeFrame();
  /// Sees to it that a frame of the whole picture follows one of `rects`.
  void followWithWhole(const std::vector<PixelRect>& rects);
  void deliver(std::shared_ptr<const PixelBuffer> pixels, std::vector<PixelRect> dirtyRects,
               Clock::time_point time);
  void end(const std::string& description);
  void close();

  const std::shared_ptr<CastFrames> frames_;
  const CaptureConfiguration configuration_;
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> queue_;

  std::mutex callbackMutex_;  // held while a callback runs, so that `stop` can wait for its end
  bool stopped_ = false;      // guarded by callbackMutex_
  const CaptureStream::Callbacks callbacks_;
  std::atomic<bool> waiting_ = false;    // a frame is to be taken as soon as the consumer is ready
  std::atomic<bool> scheduled_ = false;  // an evaluation is posted

  // The rest belongs to the capture queue.
  std::function<void(std::optional<std::string> error)> started_;  // until the start is decided
  bool running_ = false;
  FrameComposer composer_;
  Clock::time_point due_;  // of the next frame
  Timer timer_;
  Timer wholeTimer_;  // runs since a frame was made of a part of the picture only
};

}  // namespace tessaline::platform
