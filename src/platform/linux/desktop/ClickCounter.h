#pragma once

#include <chrono>
#include <cmath>
#include <cstdint>

#include "base/Queue.h"
#include "platform/PointerSource.h"

namespace tessaline::platform {

/// Presses of a device carry no click state on Linux: programs count by time. A touch device
/// reports the first tap of a double tap as a tap of its own, so that its double click would be a
/// triple one: this tells which press to leave out. One for each device.
class ClickCounter {
 public:
  /// Whether programs count a press as one beyond `clickState` already, so that it has to be left
  /// out, as has its release. A press that is not left out counts from now on.
  [[nodiscard]] bool countedAlready(std::uint32_t button, PointerLocation at, int clickState,
                                    Clock::time_point now) {
    const bool continues = last_.count > 0 && last_.button == button &&
                           now - last_.time < kClickTime &&
                           std::abs(at.x - last_.at.x) <= kClickDistance &&
                           std::abs(at.y - last_.at.y) <= kClickDistance;
    const int count = continues ? last_.count + 1 : 1;
    if (clickState > 1 && count > clickState) return true;
    last_ = {button, at, now, count};
    return false;
  }

 private:
  // Toolkits take presses this close together for one more click (GTK and Qt).
  static constexpr auto kClickTime = std::chrono::milliseconds(400);
  static constexpr double kClickDistance = 5;  // pixels

  struct {
    std::uint32_t button = 0;
    PointerLocation at;
    Clock::time_point time;
    int count = 0;
  } last_;
};

}  // namespace tessaline::platform
