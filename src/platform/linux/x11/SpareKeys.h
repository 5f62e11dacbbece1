#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <vector>

#include "base/Queue.h"
#include "platform/linux/x11/KeyboardMap.h"

namespace tessaline::platform {

/// The capital letter that X servers know of it; itself when they know none.
[[nodiscard]] xcb_keysym_t capitalLetter(xcb_keysym_t symbol);

/// Lends keys that mean nothing to symbols that no key has. A program learns what a key means when
/// it gets round to it, so a key keeps a meaning for a while after its last press, and is not
/// pressed at once after it got one. Lives on the X11 queue, owned by X11Keyboard.
class SpareKeys {
 public:
  explicit SpareKeys(const X11Connection& connection) : connection_(connection) {}
  /// Takes every meaning back.
  ~SpareKeys() { clear(); }
  SpareKeys(const SpareKeys&) = delete;
  SpareKeys& operator=(const SpareKeys&) = delete;

  struct Answer {
    std::optional<KeyboardMap::Key> key;  ///< may be pressed now, and counts as pressed
    Duration wait{};                      ///< ask again then; 0 without a key: there is none
  };
  [[nodiscard]] Answer keyFor(xcb_keysym_t symbol, const KeyboardMap& map, bool capsLock,
                              Clock::time_point now);

  /// The keyboard was mapped anew: keys may have been given a meaning by others.
  void follow(const KeyboardMap& map);
  [[nodiscard]] bool empty() const { return keys_.empty(); }
  [[nodiscard]] bool lends(xcb_keycode_t code) const;
  void clear();

 private:
  struct Key {
    xcb_keycode_t code = 0;
    xcb_keysym_t symbol = 0;  // the small letter, where there are two
    Clock::time_point mapped;
    Clock::time_point pressed;
  };
  void assign(Key& key, xcb_keysym_t symbol, Clock::time_point now);
  void change(xcb_keycode_t code, xcb_keysym_t plain, xcb_keysym_t shifted) const;

  const X11Connection& connection_;
  std::vector<Key> keys_;  // with a meaning, or that had one since the last `clear`
};

}  // namespace tessaline::platform
