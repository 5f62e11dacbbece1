#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <memory>

#include "base/Geometry.h"
#include "base/Result.h"

namespace tessaline::bench {

/// The plainest way to read pixels of the display named by DISPLAY: one request into shared memory,
/// one answer. What a capture cannot be faster than.
class ShmGrabber {
 public:
  static Result<std::unique_ptr<ShmGrabber>> connect(PixelSize largest);
  ~ShmGrabber();
  ShmGrabber(const ShmGrabber&) = delete;
  ShmGrabber& operator=(const ShmGrabber&) = delete;

  /// Reads `rect` of the root window, rows packed; false when the server refused.
  [[nodiscard]] bool grab(const PixelRect& rect);
  [[nodiscard]] const std::uint8_t* pixels() const { return memory_; }

 private:
  ShmGrabber() = default;

  xcb_connection_t* connection_ = nullptr;
  xcb_window_t root_ = 0;
  xcb_shm_seg_t segment_ = 0;
  std::uint8_t* memory_ = nullptr;
};

}  // namespace tessaline::bench
