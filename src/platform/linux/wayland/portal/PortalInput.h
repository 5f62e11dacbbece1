#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tessaline::platform {

/// The input devices that come with one display of the portal. Places are pixels of the display's
/// picture. Nothing waits for the compositor. Main queue; PortalSeat releases what is held before
/// the end.
class PortalInput {
 public:
  virtual ~PortalInput() = default;
  /// Whether the user lends any device.
  [[nodiscard]] virtual bool usable() const = 0;
  [[nodiscard]] virtual bool hasTouch() const = 0;
  virtual void move(double x, double y) = 0;
  virtual void button(std::uint32_t code, bool down) = 0;
  virtual void scroll(double dx, double dy) = 0;
  virtual void touchDown(std::uint32_t slot, double x, double y) = 0;
  virtual void touchUp(std::uint32_t slot) = 0;
  virtual void key(std::uint32_t code, bool down) = 0;
  /// What the keyboard's layout has no key for is left out.
  virtual void type(const std::string& text) = 0;
  [[nodiscard]] virtual std::size_t pending() const = 0;
};

}  // namespace tessaline::platform
