#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "base/Queue.h"
#include "platform/InputEvents.h"
#include "platform/linux/desktop/ClickCounter.h"
#include "platform/linux/wayland/SeatDevices.h"

namespace tessaline::platform {

/// InputEvents for every Wayland desktop: says in the terms of a seat's devices what was asked for.
/// The devices outlive it and keep the order. Main queue, owned by the desktop.
class WaylandInput final : public InputEvents {
 public:
  WaylandInput(std::shared_ptr<Queue> main, SeatDevices& devices);
  /// Releases what is still held.
  ~WaylandInput() override;

  /// The desktop decides whether it lends its devices; nothing here can ask its user.
  [[nodiscard]] bool trusted(bool ask) override;
  [[nodiscard]] bool postTap(PointerLocation at, int tapState) override;
  void postMove(PointerLocation to) override;
  void postButton(MouseButton button, bool down, PointerLocation at, int clickState) override;
  void postScroll(std::int32_t dx, std::int32_t dy) override;
  void postKey(std::uint16_t virtualKey, bool down) override;
  /// Control and a key of the number pad: every layout has those.
  void postShortcut(Shortcut shortcut) override;
  /// Line ends and tabs are keys; other control characters have none and are left out.
  void postText(std::string text) override;
  [[nodiscard]] std::size_t pending() const override { return devices_.pending(); }

 private:
  void hold(std::set<std::uint32_t>& held, std::uint32_t code, bool down);
  void press(std::uint32_t key);

  const std::shared_ptr<Queue> main_;
  SeatDevices& devices_;
  ClickCounter clicks_;
  ClickCounter taps_;
  std::set<std::uint32_t> buttons_;  // held now, by code
  std::set<std::uint32_t> keys_;     // held now, by code
};

}  // namespace tessaline::platform
