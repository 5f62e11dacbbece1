#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/DesktopEnvironment.h"
#include "platform/linux/desktop/AtspiAccessibility.h"
#include "platform/linux/desktop/LinuxPrivileges.h"
#include "platform/linux/wayland/WaylandInput.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/portal/PortalShortcuts.h"
#include "platform/linux/wayland/wlroots/WlrootsServer.h"

namespace tessaline::platform {

/// DesktopEnvironment for sway. Lives on the main queue, owned by the application.
class WlrootsDesktopEnvironment final : public DesktopEnvironment {
 public:
  WlrootsDesktopEnvironment(Queues& queues, SessionProbe probe);

  [[nodiscard]] std::string kind() const override { return "sway"; }
  [[nodiscard]] bool hasPoints() const override { return true; }
  [[nodiscard]] std::unique_ptr<VirtualDisplay> createVirtualDisplay(
      const VirtualDisplayDescriptor& descriptor) override;
  [[nodiscard]] Result<std::vector<DisplayInfo>> shareableDisplays() override;
  [[nodiscard]] std::unique_ptr<CaptureStream> createCaptureStream(
      DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) override;
  [[nodiscard]] std::shared_ptr<PointerSource> pointer() override { return pointer_; }
  [[nodiscard]] InputEvents& inputEvents() override { return input_; }
  [[nodiscard]] Accessibility& accessibility() override { return accessibility_; }
  [[nodiscard]] ScreenCaptureAccess& captureAccess() override { return captureAccess_; }
  [[nodiscard]] std::unique_ptr<HotKeyRegistration> registerHotKey(
      const HotKey& hotKey, std::function<void()> action) override;

 private:
  void serverLost(const std::string& reason);

  Queues& queues_;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);  // held weakly by posted work
  const std::shared_ptr<WlrootsServer> server_;
  const std::shared_ptr<WaylandPointer> pointer_;
  WaylandInput input_;
  AtspiAccessibility accessibility_{AtspiAccessibility::Frames::none};
  FreeCaptureAccess captureAccess_;
  std::unique_ptr<PortalShortcuts> shortcuts_;  // made with the first hot key
  DisplayID lastDisplay_;
  bool lost_ = false;
};

}  // namespace tessaline::platform
