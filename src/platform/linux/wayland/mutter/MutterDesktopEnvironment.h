#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/DesktopEnvironment.h"
#include "platform/linux/desktop/AtspiAccessibility.h"
#include "platform/linux/desktop/LinuxPrivileges.h"
#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/WaylandInput.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/mutter/MutterBus.h"
#include "platform/linux/wayland/mutter/MutterDevices.h"
#include "platform/linux/wayland/mutter/MutterMonitors.h"
#include "platform/linux/wayland/portal/PortalShortcuts.h"

namespace tessaline::platform {

class MutterVirtualDisplay;

/// DesktopEnvironment for GNOME, over Mutter's own interfaces. Lives on the main queue, owned by
/// the application.
class MutterDesktopEnvironment final : public DesktopEnvironment {
 public:
  static Result<std::unique_ptr<DesktopEnvironment>> open(Queues& queues);
  ~MutterDesktopEnvironment() override;

  [[nodiscard]] std::string kind() const override { return "Mutter"; }
  [[nodiscard]] bool hasPoints() const override { return monitors_->hasPoints(); }
  [[nodiscard]] std::unique_ptr<VirtualDisplay> createVirtualDisplay(
      const VirtualDisplayDescriptor& descriptor) override;
  [[nodiscard]] Result<std::vector<DisplayInfo>> shareableDisplays() override;
  [[nodiscard]] std::unique_ptr<CaptureStream> createCaptureStream(
      DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) override;
  [[nodiscard]] std::shared_ptr<PointerSource> pointer() override { return pointer_; }
  [[nodiscard]] InputEvents& inputEvents() override { return *input_; }
  [[nodiscard]] Accessibility& accessibility() override { return accessibility_; }
  [[nodiscard]] ScreenCaptureAccess& captureAccess() override { return captureAccess_; }
  [[nodiscard]] std::unique_ptr<HotKeyRegistration> registerHotKey(
      const HotKey& hotKey, std::function<void()> action) override;

 private:
  friend class MutterVirtualDisplay;

  explicit MutterDesktopEnvironment(Queues& queues);
  void compositorGone();
  /// What ends may be what called: it goes when that has returned, or with the desktop.
  void retire(std::shared_ptr<MutterSession> session);

  Queues& queues_;
  const std::shared_ptr<DisplayTable> table_ = std::make_shared<DisplayTable>();
  const std::shared_ptr<WaylandPointer> pointer_ = std::make_shared<WaylandPointer>(table_);
  std::unique_ptr<MutterBus> bus_;
  std::unique_ptr<MutterMonitors> monitors_;
  std::unique_ptr<MutterDevices> devices_;
  std::unique_ptr<WaylandInput> input_;
  AtspiAccessibility accessibility_{AtspiAccessibility::Frames::none};
  FreeCaptureAccess captureAccess_;
  std::map<DisplayID, MutterVirtualDisplay*> displays_;
  DisplayID lastDisplay_;
  bool lost_ = false;
  std::unique_ptr<PortalShortcuts> shortcuts_;  // once needed
  // Before the bus, which they talk to until their end.
  std::shared_ptr<std::vector<std::shared_ptr<MutterSession>>> retired_ =
      std::make_shared<std::vector<std::shared_ptr<MutterSession>>>();
};

}  // namespace tessaline::platform
