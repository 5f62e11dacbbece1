#pragma once

#include <cstdint>

#include "base/Geometry.h"

namespace tessaline::platform {

/// The timing of a display mode with reduced blanking. No signal is ever made from it: the X server
/// and the desktop derive the refresh rate from it and drivers check it for plausibility.
struct ModeTiming {
  std::uint16_t width = 0;
  std::uint16_t hSyncStart = 0;
  std::uint16_t hSyncEnd = 0;
  std::uint16_t hTotal = 0;
  std::uint16_t height = 0;
  std::uint16_t vSyncStart = 0;
  std::uint16_t vSyncEnd = 0;
  std::uint16_t vTotal = 0;
  std::uint32_t dotClock = 0;  ///< Hz
};

/// `size` is 1…32767 each way, `refreshRate` in Hz. A picture too large for a 32-bit clock gets the
/// largest clock, that is, a lower stated rate.
[[nodiscard]] ModeTiming makeModeTiming(PixelSize size, double refreshRate);

}  // namespace tessaline::platform
