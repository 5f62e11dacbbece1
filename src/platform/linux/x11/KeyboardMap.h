#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// What the keys of the X server's keyboard mean, read at one time. A plain value.
class KeyboardMap {
 public:
  struct Key {
    xcb_keycode_t code = 0;
    bool shift = false;
  };

  /// Empty when the connection is lost.
  static KeyboardMap read(const X11Connection& connection);

  /// The key that types `character` in the layout `group` (0 or 1), alone or with Shift.
  [[nodiscard]] std::optional<Key> typing(char32_t character, int group, bool capsLock) const;
  /// The keys that mean `symbol` without a modifier, in any layout.
  [[nodiscard]] std::vector<xcb_keycode_t> keysFor(xcb_keysym_t symbol) const;
  /// Keys that mean nothing.
  [[nodiscard]] std::vector<xcb_keycode_t> unused() const;
  [[nodiscard]] xcb_keysym_t symbol(xcb_keycode_t code, int level) const;

  /// The modifier that the key of `symbol` sets, 0 for none.
  [[nodiscard]] std::uint16_t modifier(xcb_keysym_t symbol) const;
  /// The keys that change what others mean while they are held; those that lock are not among them.
  [[nodiscard]] const std::vector<xcb_keycode_t>& modifierKeys() const { return modifierKeys_; }

 private:
  void readModifiers(const X11Connection& connection);

  xcb_keycode_t first_ = 8;
  int symbolsPerKey_ = 0;
  std::vector<xcb_keysym_t> symbols_;                  // symbolsPerKey_ for each key from first_ on
  std::vector<std::vector<xcb_keycode_t>> modifiers_;  // by modifier: Shift, Lock, Control, Mod1…
  std::vector<xcb_keycode_t> modifierKeys_;
};

}  // namespace tessaline::platform
