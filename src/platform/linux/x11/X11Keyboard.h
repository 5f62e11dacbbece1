#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <set>

#include "base/Queue.h"
#include "platform/InputEvents.h"
#include "platform/linux/x11/KeyboardMap.h"
#include "platform/linux/x11/SpareKeys.h"

namespace tessaline::platform {

/// Presses keys of the X server's keyboard (XTEST). Modifiers that the user holds count as released
/// from then on, until they are pressed again: what is typed must not become a shortcut. Lives on
/// the X11 queue, owned by X11Input.
class X11Keyboard {
 public:
  explicit X11Keyboard(const X11Connection& connection)
      : connection_(connection), spare_(connection) {}
  /// Releases what is still held.
  ~X11Keyboard();

  /// Before keys are pressed in one go: finds out what the user holds, and releases it.
  void prepare();
  /// Types one character. An answer is a time to wait before it is asked for again, after
  /// `prepare`.
  [[nodiscard]] std::optional<Duration> type(char32_t character, Clock::time_point now);
  void hold(std::uint16_t virtualKey, bool down);
  void shortcut(Shortcut shortcut);

  void mappingChanged() { stale_ = true; }
  [[nodiscard]] bool lendsKeys() const { return !spare_.empty(); }
  /// Takes back what keys were lent for.
  void settle() { spare_.clear(); }

 private:
  void refresh();
  void press(xcb_keycode_t code, bool shift);
  void pressLetter(const KeyboardMap::Key& key, xcb_keysym_t symbol);
  void fake(xcb_keycode_t code, bool down);
  [[nodiscard]] xcb_keycode_t keyFor(xcb_keysym_t symbol) const;

  const X11Connection& connection_;
  KeyboardMap map_;
  SpareKeys spare_;
  bool stale_ = true;
  bool capsLock_ = false;
  int group_ = 0;
  bool saidNoKeys_ = false;
  std::set<xcb_keycode_t> down_;  // pressed here and not released yet
};

}  // namespace tessaline::platform
