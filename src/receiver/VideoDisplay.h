#pragma once

#include <memory>

#include "platform/VideoDecoding.h"

namespace tessaline {

/// What shows the stream's pictures: each as soon as possible, whole (letterboxed, never cropped or
/// stretched), on black. A picture that arrives before the last one was shown replaces it, so that
/// nothing queues up behind a slow display.
class VideoDisplay {
 public:
  virtual ~VideoDisplay() = default;
  /// Callable from any thread, returns at once. Without a picture: black.
  virtual void show(std::shared_ptr<const platform::VideoPicture> picture) = 0;
};

}  // namespace tessaline
