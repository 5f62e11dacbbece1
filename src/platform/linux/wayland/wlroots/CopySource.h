#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "base/Result.h"
#include "platform/linux/wayland/wlroots/WaylandConnection.h"

namespace tessaline::platform {

/// One output as something to capture, over a connection of its own, so that no capture delays
/// another or the input. Lives on its capture's queue.
struct CopySource {
  std::unique_ptr<WaylandConnection> connection;
  Proxy<wl_shm> shm;
  Proxy<wl_pointer> pointer;  ///< of the seat; empty when that has none
  Proxy<ext_image_copy_capture_manager_v1> manager;
  Proxy<ext_image_capture_source_v1> source;

  /// Of the output with this name. Waits for the compositor as long as `patience` each time.
  [[nodiscard]] static Result<CopySource> open(const std::string& output,
                                               std::chrono::milliseconds patience);
};

}  // namespace tessaline::platform
