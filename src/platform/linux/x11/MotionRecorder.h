#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// Tells of every movement of the pointer, also of those that programs make (XWarpPointer, a
/// display that goes away under it): raw input events miss them, and a window that listens for
/// motion hides them from the root window. Uses the RECORD extension, on a connection of its own
/// as that demands; only pointer motion is recorded. Lives on the X11 queue, owned by X11Pointer.
class MotionRecorder {
 public:
  /// Nothing when the server has no RECORD; `onMotion` runs on `queue`.
  static std::unique_ptr<MotionRecorder> start(const std::string& displayName, const Queue& queue,
                                               std::function<void()> onMotion);

 private:
  MotionRecorder(std::unique_ptr<X11Connection> connection, std::function<void()> onMotion)
      : connection_(std::move(connection)), onMotion_(std::move(onMotion)) {}
  void readReplies();

  const std::unique_ptr<X11Connection> connection_;
  const std::function<void()> onMotion_;
  unsigned int sequence_ = 0;  // of the request whose replies never end
};

}  // namespace tessaline::platform
