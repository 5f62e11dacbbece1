#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace tessaline::platform {

/// Which characters the compositor's keyboard has keys for, read at one time. A plain value.
class KeyboardLayout {
 public:
  /// Asks the compositor as a Wayland client of it, which takes up to a second: not for the main
  /// queue. Nothing when it does not answer or has no keyboard.
  [[nodiscard]] static std::optional<KeyboardLayout> read();

  /// From the text of an XKB keymap.
  [[nodiscard]] static std::optional<KeyboardLayout> parse(const char* keymap);

  /// The keysym that types `character`, whatever the other case does with Caps Lock. Which of
  /// several layouts is in use is told to nobody: only what all of them have counts. Mutter reaches
  /// three levels of a key (plain, Shift, AltGr).
  [[nodiscard]] std::optional<std::uint32_t> keysym(char32_t character, bool capsLock) const;

 private:
  std::map<char32_t, std::uint32_t> keysyms_;
};

}  // namespace tessaline::platform
