#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/DesktopEnvironment.h"
#include "platform/linux/desktop/AtspiAccessibility.h"
#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/WaylandInput.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/portal/PortalAccess.h"
#include "platform/linux/wayland/portal/PortalDisplay.h"
#include "platform/linux/wayland/portal/PortalSeat.h"
#include "platform/linux/wayland/portal/PortalShortcuts.h"

namespace tessaline::platform {

/// DesktopEnvironment of the desktop portal. Points and pixels are the same here: no portal lets a
/// display's scale be chosen, and none tells it before the display is there. Lives on the main
/// queue, owned by the application.
class PortalDesktopEnvironment final : public DesktopEnvironment, private PortalDisplay::Stage {
 public:
  PortalDesktopEnvironment(Queues& queues, PortalOffer offer,
                           const std::filesystem::path& tokenFile);
  ~PortalDesktopEnvironment() override;

  [[nodiscard]] std::string kind() const override { return "desktop portal"; }
  [[nodiscard]] std::unique_ptr<VirtualDisplay> createVirtualDisplay(
      const VirtualDisplayDescriptor& descriptor) override;
  [[nodiscard]] Result<std::vector<DisplayInfo>> shareableDisplays() override;
  [[nodiscard]] std::unique_ptr<CaptureStream> createCaptureStream(
      DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) override;
  [[nodiscard]] std::shared_ptr<PointerSource> pointer() override { return pointer_; }
  [[nodiscard]] InputEvents& inputEvents() override { return input_; }
  [[nodiscard]] Accessibility& accessibility() override { return accessibility_; }
  [[nodiscard]] ScreenCaptureAccess& captureAccess() override { return access_; }
  [[nodiscard]] std::unique_ptr<HotKeyRegistration> registerHotKey(
      const HotKey& hotKey, std::function<void()> action) override;

 private:
  [[nodiscard]] Queues& queues() override { return queues_; }
  [[nodiscard]] PortalSession::Portal portal() override;
  [[nodiscard]] std::shared_ptr<WaylandPointer> castPointer() override { return pointer_; }
  void show(DisplayID display, PixelSize size, std::optional<PixelPoint> position) override;
  void lend(DisplayID display, std::unique_ptr<PortalInput> input) override;
  void hide(DisplayID display) override;
  void forget(DisplayID display) override { displays_.erase(display); }

  Queues& queues_;
  const PortalOffer offer_;
  const std::shared_ptr<PortalBus> bus_;
  const std::shared_ptr<PortalConsent> consent_;
  const std::shared_ptr<DisplayTable> table_;
  const std::shared_ptr<WaylandPointer> pointer_;
  std::unique_ptr<PortalShortcuts> shortcuts_;
  AtspiAccessibility accessibility_;
  PortalSeat seat_;
  WaylandInput input_;
  PortalAccess access_;
  std::map<DisplayID, PortalDisplay*> displays_;
  DisplayID lastDisplay_ = 0;
};

}  // namespace tessaline::platform
