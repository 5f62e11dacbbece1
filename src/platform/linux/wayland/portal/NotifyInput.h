#pragma once

#include <memory>
#include <string>

#include "base/Geometry.h"
#include "platform/linux/wayland/portal/PortalBus.h"
#include "platform/linux/wayland/portal/PortalInput.h"
#include "platform/linux/wayland/portal/PortalSession.h"

namespace tessaline::platform {

/// Input by calls to the portal, for portals (and builds) without a connection to the compositor's
/// own input. GNOME's of version 48 takes no places on virtual displays this way. Characters that
/// the keyboard's layout does not have are dropped by the compositor. Main queue.
class NotifyInput final : public PortalInput {
 public:
  NotifyInput(std::shared_ptr<PortalBus> bus, const PortalSession::Lease& lease, PixelSize picture);

  [[nodiscard]] bool usable() const override { return devices_ != 0; }
  [[nodiscard]] bool hasTouch() const override;
  void move(double x, double y) override;
  void button(std::uint32_t code, bool down) override;
  void scroll(double dx, double dy) override;
  void touchDown(std::uint32_t slot, double x, double y) override;
  void touchUp(std::uint32_t slot) override;
  void key(std::uint32_t code, bool down) override;
  void type(const std::string& text) override;
  [[nodiscard]] std::size_t pending() const override { return 0; }

 private:
  template <typename... Arguments>
  void notify(const char* method, Arguments... arguments);

  const std::shared_ptr<PortalBus> bus_;
  const std::string session_;
  const std::uint32_t node_;
  const std::uint32_t devices_;
  const double unitsPerPixelX_;
  const double unitsPerPixelY_;
};

}  // namespace tessaline::platform
