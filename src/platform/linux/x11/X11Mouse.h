#pragma once

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <vector>

#include "base/Queue.h"
#include "platform/InputEvents.h"
#include "platform/linux/desktop/ClickCounter.h"
#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// Presses buttons of the X server's pointer and turns its wheels (XTEST). Lives on the X11 queue,
/// owned by X11Input.
class X11Mouse {
 public:
  explicit X11Mouse(const X11Connection& connection) : connection_(connection) {}
  /// Releases what is still held.
  ~X11Mouse();

  void button(MouseButton button, bool down, PointerLocation at, int clickState,
              Clock::time_point now);
  /// X11's wheels turn by steps; what is less than one is kept for the next time.
  void scroll(std::int32_t dx, std::int32_t dy);
  void mappingChanged() { stale_ = true; }

 private:
  void turn(double pixels, double& remainder, std::uint8_t forward, std::uint8_t back);
  void fake(std::uint8_t number, bool down);

  const X11Connection& connection_;
  bool stale_ = true;
  std::vector<std::uint8_t> physical_;  // which button of the device acts as number 1, 2, …
  std::array<bool, 4> down_{};          // by number
  std::array<bool, 4> skipped_{};       // by number: its press was left out
  double remainderX_ = 0;               // pixels
  double remainderY_ = 0;
  ClickCounter clicks_;
};

}  // namespace tessaline::platform
