#include "platform/linux/x11/ModeTiming.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tessaline::platform {
namespace {

// Reduced blanking as monitors use it: fixed horizontal blanking, vertical blanking of at least the
// stated time.
constexpr int kHorizontalFrontPorch = 48;  // pixels
constexpr int kHorizontalSync = 32;
constexpr int kHorizontalBlank = 160;
constexpr int kVerticalFrontPorch = 3;  // lines
constexpr int kVerticalSync = 8;
constexpr int kVerticalBackPorch = 6;
constexpr double kVerticalBlank = 460e-6;  // seconds

}  // namespace

ModeTiming makeModeTiming(PixelSize size, double refreshRate) {
  const double linePeriod = (1.0 / refreshRate - kVerticalBlank) / size.height;
  const int blankLines = std::max(static_cast<int>(kVerticalBlank / linePeriod) + 1,
                                  kVerticalFrontPorch + kVerticalSync + kVerticalBackPorch);
  const auto u16 = [](int value) { return static_cast<std::uint16_t>(value); };
  ModeTiming timing;
  timing.width = u16(size.width);
  timing.hSyncStart = u16(size.width + kHorizontalFrontPorch);
  timing.hSyncEnd = u16(size.width + kHorizontalFrontPorch + kHorizontalSync);
  timing.hTotal = u16(size.width + kHorizontalBlank);
  timing.height = u16(size.height);
  timing.vSyncStart = u16(size.height + kVerticalFrontPorch);
  timing.vSyncEnd = u16(size.height + kVerticalFrontPorch + kVerticalSync);
  timing.vTotal = u16(size.height + blankLines);
  const double clock = std::round(refreshRate * timing.hTotal * timing.vTotal);
  constexpr double largest = std::numeric_limits<std::uint32_t>::max();
  timing.dotClock = static_cast<std::uint32_t>(std::min(clock, largest));
  return timing;
}

}  // namespace tessaline::platform
