#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/DesktopEnvironment.h"
#include "platform/linux/desktop/AtspiAccessibility.h"
#include "platform/linux/desktop/LinuxPrivileges.h"
#include "platform/linux/x11/X11Server.h"

namespace tessaline::platform {

/// DesktopEnvironment for X11. Lives on the main queue, owned by the application.
class X11DesktopEnvironment final : public DesktopEnvironment {
 public:
  static Result<std::unique_ptr<DesktopEnvironment>> open(Queues& queues,
                                                          const std::string& displayName);

  [[nodiscard]] std::string kind() const override { return "X11"; }
  [[nodiscard]] std::unique_ptr<VirtualDisplay> createVirtualDisplay(
      const VirtualDisplayDescriptor& descriptor) override;
  [[nodiscard]] Result<std::vector<DisplayInfo>> shareableDisplays() override;
  [[nodiscard]] std::unique_ptr<CaptureStream> createCaptureStream(
      DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) override;
  [[nodiscard]] std::shared_ptr<PointerSource> pointer() override { return server_->pointer(); }
  [[nodiscard]] InputEvents& inputEvents() override { return *server_->input(); }
  [[nodiscard]] Accessibility& accessibility() override { return accessibility_; }
  [[nodiscard]] ScreenCaptureAccess& captureAccess() override { return captureAccess_; }
  [[nodiscard]] std::unique_ptr<HotKeyRegistration> registerHotKey(
      const HotKey& hotKey, std::function<void()> action) override;

 private:
  explicit X11DesktopEnvironment(std::shared_ptr<Queue> main);
  void serverLost();

  const std::shared_ptr<Queue> main_;
  std::shared_ptr<X11Server> server_;
  AtspiAccessibility accessibility_;
  FreeCaptureAccess captureAccess_;
  DisplayID lastDisplay_;
  bool lost_ = false;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);  // held weakly by posted work
};

}  // namespace tessaline::platform
