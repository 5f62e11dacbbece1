#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "streaming/MotionDetail.h"

namespace tessaline {

class Encoder;

/// Hands a session's pictures to its encoder, in their order: the captured ones, the last one again
/// when a key frame is owed on a still screen, and the last one a few times more once it stands
/// still, for the encoder to make it sharp. Then nothing. Callable from any thread; its timer lives
/// on the capture queue. Owned by its session.
class PictureFeed : public std::enable_shared_from_this<PictureFeed> {
 public:
  /// `mayEncode` says whether the encoder and the link have room for one more picture; never asked
  /// after `stop`.
  PictureFeed(Encoder& encoder, std::shared_ptr<Queue> queue, std::function<bool()> mayEncode);

  void captured(platform::CapturedFrame frame);
  /// The encoder is done with a picture; a key frame has little of the sharpness that pictures
  /// gather.
  void coded(bool keyFrame);
  /// A still screen delivers nothing, so a key frame that is owed comes from the last picture.
  void refreshKeyFrame();
  [[nodiscard]] Clock::time_point lastFrameTime() const;
  /// Nothing reaches the encoder any more.
  void stop();

 private:
  void owe(Clock::time_point time);
  void wait(Duration time);
  void refine();

  const std::shared_ptr<Queue> queue_;
  mutable std::mutex mutex_;  // guards what follows
  Encoder* encoder_;
  std::function<bool()> mayEncode_;
  std::shared_ptr<const platform::PixelBuffer> lastFrame_;
  Clock::time_point lastFrameTime_;
  MotionDetail detail_;
  int owed_ = 0;               // refinements of the last picture
  Clock::time_point movedAt_;  // when the picture changed by more than a little
  bool waiting_ = false;       // the timer runs
  Timer timer_;
};

/// Whether more than a little of the picture changed.
[[nodiscard]] bool noticeable(const platform::CapturedFrame& frame);

}  // namespace tessaline
