#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/Display.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/wlroots/CopySession.h"
#include "platform/linux/wayland/wlroots/CopySource.h"

namespace tessaline::platform {

/// Tells a WaylandPointer where the pointer is on a captured display and what it looks like. Lives
/// on the capture's queue; its source outlives it.
class CursorWatch {
 public:
  CursorWatch(const CopySource& source, DisplayID display, std::shared_ptr<WaylandPointer> pointer,
              std::shared_ptr<Queue> queue);
  ~CursorWatch();
  CursorWatch(const CursorWatch&) = delete;
  CursorWatch& operator=(const CursorWatch&) = delete;

 private:
  struct Listener;
  void requestImage();
  void showImage();

  const CopySource& source_;
  const DisplayID display_;
  const std::shared_ptr<WaylandPointer> pointer_;
  const std::shared_ptr<Queue> queue_;
  Proxy<ext_image_copy_capture_cursor_session_v1> cursor_;
  std::unique_ptr<CopySession> images_;
  std::unique_ptr<ShmPicture> picture_;
  PixelSize size_;      // of the next image; none is wanted while it is empty
  bool fresh_ = false;  // whether `picture_` is as the compositor wants it
  PixelPoint hotSpot_;
  int failures_ = 0;  // since the last image
  Timer retry_;
};

}  // namespace tessaline::platform
