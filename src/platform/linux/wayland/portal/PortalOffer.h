#pragma once

#include <chrono>
#include <cstdint>

#include "base/Result.h"

namespace tessaline::platform {

/// What the portal of this session can do, in its own numbers.
struct PortalOffer {
  std::uint32_t devices = 0;
  std::uint32_t cursorModes = 0;
  std::uint32_t remoteDesktop = 0;  ///< version of the interface

  /// Fails with the obstacle, as `portalObstacle` does.
  [[nodiscard]] static Result<PortalOffer> ask(std::chrono::milliseconds patience);
};

}  // namespace tessaline::platform
