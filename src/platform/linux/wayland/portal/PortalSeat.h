#pragma once

#include <map>
#include <memory>
#include <set>

#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/SeatDevices.h"
#include "platform/linux/wayland/portal/PortalInput.h"

namespace tessaline::platform {

/// The devices of all displays as one seat: a place goes to the devices of the display that it is
/// on, and everything else to those that were used last. Main queue, owned by the desktop.
class PortalSeat final : public SeatDevices {
 public:
  explicit PortalSeat(std::shared_ptr<const DisplayTable> displays)
      : displays_(std::move(displays)) {}

  void add(DisplayID display, std::unique_ptr<PortalInput> input);
  /// Releases what is held on the display's devices.
  void remove(DisplayID display);

  [[nodiscard]] bool usable() const override;
  [[nodiscard]] bool hasTouch() const override;
  void move(PointerLocation to) override;
  void button(std::uint32_t code, bool down) override;
  void scroll(double dx, double dy) override;
  void touchDown(std::uint32_t slot, PointerLocation at) override;
  void touchUp(std::uint32_t slot) override;
  void key(std::uint32_t code, bool down) override;
  void type(const std::string& text) override;
  [[nodiscard]] std::size_t pending() const override;

 private:
  struct Lent {
    std::unique_ptr<PortalInput> input;
    std::set<std::uint32_t> buttons;
    std::set<std::uint32_t> keys;
    std::set<std::uint32_t> touches;
  };
  struct Place {
    Lent* lent = nullptr;  // none: on no extra display
    double x = 0;          // pixels of its picture
    double y = 0;
  };
  [[nodiscard]] Place placeOf(PointerLocation location);
  [[nodiscard]] Lent* current();

  const std::shared_ptr<const DisplayTable> displays_;
  std::map<DisplayID, Lent> lent_;
  DisplayID current_ = 0;
};

}  // namespace tessaline::platform
