#include "platform/linux/wayland/portal/EisInput.h"

#include <cstdlib>
#include <string_view>

#include "platform/linux/wayland/portal/EisThread.h"

namespace tessaline::platform {
namespace {

// Seen with GNOME 50: the compositor takes scrolling over libei, which counts pixels, for that of a
// wheel whose click is 10 of them; programs move by about 60 pixels with a click.
constexpr double kWheelUnitsPerPixel = 10.0 / 60;

double scrollUnitsPerPixel() {
  const char* const desktops = std::getenv("XDG_CURRENT_DESKTOP");
  const bool wheel = desktops && std::string_view(desktops).find("GNOME") != std::string_view::npos;
  return wheel ? kWheelUnitsPerPixel : 1;
}

/// The main queue's side: says to the thread what is to be done.
class Input final : public PortalInput {
 public:
  Input(const PortalSession::Lease& lease, PixelSize picture)
      : devices_(lease.devices),
        thread_(lease.eis, {.mappingID = lease.mappingID, .picture = picture}) {}

  [[nodiscard]] bool usable() const override { return devices_ != 0; }
  [[nodiscard]] bool hasTouch() const override { return thread_.hasTouch(); }
  void move(double x, double y) override {
    thread_.post([x, y](EisDevices& devices) { devices.move(x, y); });
  }
  void button(std::uint32_t code, bool down) override {
    thread_.post([code, down](EisDevices& devices) { devices.button(code, down); });
  }
  void scroll(double dx, double dy) override {
    thread_.post([x = dx * scrollUnits_, y = dy * scrollUnits_](EisDevices& devices) {
      devices.scroll(x, y);
    });
  }
  void touchDown(std::uint32_t slot, double x, double y) override {
    thread_.post([slot, x, y](EisDevices& devices) { devices.touchDown(slot, x, y); });
  }
  void touchUp(std::uint32_t slot) override {
    thread_.post([slot](EisDevices& devices) { devices.touchUp(slot); });
  }
  void key(std::uint32_t code, bool down) override {
    thread_.post([code, down](EisDevices& devices) { devices.key(code, down); });
  }
  void type(const std::string& text) override {
    thread_.post([text](EisDevices& devices) { devices.type(text); });
  }
  [[nodiscard]] std::size_t pending() const override { return thread_.pending(); }

 private:
  const std::uint32_t devices_;
  const double scrollUnits_ = scrollUnitsPerPixel();
  EisThread thread_;
};

}  // namespace

bool EisInput::builtIn() {
  return true;
}

std::unique_ptr<PortalInput> EisInput::open(const PortalSession::Lease& lease, PixelSize picture) {
  if (lease.eis < 0) return nullptr;
  return std::make_unique<Input>(lease, picture);
}

}  // namespace tessaline::platform
