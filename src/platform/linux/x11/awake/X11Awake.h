#pragma once

#include <memory>

namespace tessaline::platform {

/// Suspends the blanking and the power saving of the X server of $DISPLAY; the server resumes both
/// when this object ends, or its process. Usable from any one thread; making one may take as long
/// as the server takes to answer.
class X11Awake {
 public:
  /// Nothing without an X server.
  static std::unique_ptr<X11Awake> begin();
  ~X11Awake();
  X11Awake(const X11Awake&) = delete;
  X11Awake& operator=(const X11Awake&) = delete;

 private:
  explicit X11Awake(void* connection) : connection_(connection) {}
  void* const connection_;  // an xcb_connection_t
};

}  // namespace tessaline::platform
