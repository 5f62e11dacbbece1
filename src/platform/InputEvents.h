#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/PointerSource.h"

namespace tessaline::platform {

enum class MouseButton { left, right };

/// What a desktop's programs understand as a key for an operation, whichever keys that are.
enum class Shortcut { zoomIn, zoomOut };

/// Makes input as if it came from a device of the desktop. Everything posted happens in the order
/// in which it was posted, and nothing waits for it.
/// Main queue. What is held down when the desktop closes is released.
class InputEvents {
 public:
  virtual ~InputEvents() = default;

  /// Whether this process may post events. `ask` makes a system that leaves this to its user ask.
  [[nodiscard]] virtual bool trusted(bool ask) = 0;

  /// A touch by one finger, put down and lifted: it leaves the pointer where it is. `tapState` is 1
  /// for a first tap, 2 for the second one of a double tap. False on a desktop that offers no touch
  /// device; nothing has happened then.
  [[nodiscard]] virtual bool postTap(PointerLocation at, int tapState) = 0;
  /// Moves the pointer without a movement of any device.
  virtual void postMove(PointerLocation to) = 0;
  /// `clickState`: 1 for a first click, 2 for the second one of a double click.
  virtual void postButton(MouseButton button, bool down, PointerLocation at, int clickState) = 0;
  /// In pixels at the pointer; positive values scroll towards the top and the left.
  virtual void postScroll(std::int32_t dx, std::int32_t dy) = 0;
  /// A key by its virtual code (`VirtualKey`).
  virtual void postKey(std::uint16_t virtualKey, bool down) = 0;
  virtual void postShortcut(Shortcut shortcut) = 0;
  /// Types valid UTF-8, whatever the layout of the keyboard.
  virtual void postText(std::string text) = 0;

  /// How many posted events and characters still wait; the caller bounds what it posts by it. Once
  /// nothing waits, `PointerSource` knows of every move.
  [[nodiscard]] virtual std::size_t pending() const = 0;
};

/// The virtual key codes that the core names keys by; a platform maps them to its own.
struct VirtualKey {
  static constexpr std::uint16_t kReturn = 36;
  static constexpr std::uint16_t kTab = 48;
  static constexpr std::uint16_t kBackspace = 51;
  static constexpr std::uint16_t kEscape = 53;
  static constexpr std::uint16_t kLeft = 123;
  static constexpr std::uint16_t kRight = 124;
  static constexpr std::uint16_t kDown = 125;
  static constexpr std::uint16_t kUp = 126;
};

}  // namespace tessaline::platform
