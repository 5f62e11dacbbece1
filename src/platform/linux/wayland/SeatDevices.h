#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/InputEvents.h"

namespace tessaline::platform {

/// The input devices that a compositor lends to this process: what WaylandInput plays on, and what
/// each kind of desktop provides. Places are global desktop coordinates (`DisplayInfo::bounds`);
/// one that is on no extra display is dropped. Everything happens in the order posted; nothing
/// waits for the compositor. What a lost device held is released by its provider. Main queue.
class SeatDevices {
 public:
  virtual ~SeatDevices() = default;

  /// Whether there is anything to play on now: a display is shared and the user allows input.
  [[nodiscard]] virtual bool usable() const = 0;
  [[nodiscard]] virtual bool hasTouch() const = 0;

  virtual void move(PointerLocation to) = 0;
  /// A button by its code in linux/input-event-codes.h.
  virtual void button(std::uint32_t code, bool down) = 0;
  /// Pixels; positive values scroll towards the bottom and the right, as Wayland has it.
  virtual void scroll(double dx, double dy) = 0;
  virtual void touchDown(std::uint32_t slot, PointerLocation at) = 0;
  virtual void touchUp(std::uint32_t slot) = 0;
  /// A key that every layout has (Return, the arrows, a modifier), by its code in
  /// linux/input-event-codes.h.
  virtual void key(std::uint32_t code, bool down) = 0;
  /// Types valid UTF-8 without control characters, whatever the layout. How is the provider's: keys
  /// where the layout has the characters, something else where it has not.
  virtual void type(const std::string& text) = 0;
  /// Events and characters that still wait.
  [[nodiscard]] virtual std::size_t pending() const = 0;
};

}  // namespace tessaline::platform
