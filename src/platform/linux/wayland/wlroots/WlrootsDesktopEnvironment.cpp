#include "platform/linux/wayland/wlroots/WlrootsDesktopEnvironment.h"

#include "base/Log.h"
#include "platform/linux/wayland/wlroots/CopyCapture.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"
#include "platform/linux/wayland/wlroots/WlrootsDisplay.h"

namespace tessaline::platform {
namespace {

// A compositor numbers what it offers from 1 on, which names every display but the extra ones.
constexpr DisplayID kExtraDisplays = 0x8000'0000;

}  // namespace

std::optional<std::string> wlrootsObstacle() {
  const auto probe = SessionProbe::look();
  if (!probe) return probe.error();
  return std::nullopt;
}

Result<std::unique_ptr<DesktopEnvironment>> openWlrootsDesktop(Queues& queues) {
  auto probe = SessionProbe::look();
  if (!probe) return Failure{probe.error()};
  return std::unique_ptr<DesktopEnvironment>(
      std::make_unique<WlrootsDesktopEnvironment>(queues, std::move(*probe)));
}

WlrootsDesktopEnvironment::WlrootsDesktopEnvironment(Queues& queues, SessionProbe probe)
    : queues_(queues),
      server_(std::make_shared<WlrootsServer>(
          queues, std::move(probe),
          [this, main = queues.main(), alive = std::weak_ptr<int>(alive_)](std::string reason) {
            main->async([this, alive, reason = std::move(reason)] {
              if (!alive.expired()) serverLost(reason);
            });
          })),
      pointer_(std::make_shared<WaylandPointer>(server_->displays())),
      input_(queues.main(), *server_),
      lastDisplay_(kExtraDisplays) {}

void WlrootsDesktopEnvironment::serverLost(const std::string& reason) {
  lost_ = true;
  log("sway: " + reason);
  if (onLost) onLost();
}

std::unique_ptr<VirtualDisplay> WlrootsDesktopEnvironment::createVirtualDisplay(
    const VirtualDisplayDescriptor& descriptor) {
  if (lost_) return nullptr;
  return std::make_unique<WlrootsDisplay>(server_, ++lastDisplay_, descriptor);
}

Result<std::vector<DisplayInfo>> WlrootsDesktopEnvironment::shareableDisplays() {
  if (lost_) return Failure{"the compositor has gone"};
  return server_->displays()->list();
}

std::unique_ptr<CaptureStream> WlrootsDesktopEnvironment::createCaptureStream(
    DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
    CaptureStream::Callbacks callbacks) {
  return std::make_unique<WorkerCaptureStream>(std::make_shared<CopyCapture>(
      CopyCapture::Target{display, server_->outputName(display), pointer_}, configuration,
      queues_.main(), std::move(queue), std::move(callbacks)));
}

std::unique_ptr<HotKeyRegistration> WlrootsDesktopEnvironment::registerHotKey(
    const HotKey& hotKey, std::function<void()> action) {
  if (!shortcuts_) shortcuts_ = PortalShortcuts::open(queues_);
  return shortcuts_->add(hotKey, std::move(action));
}

}  // namespace tessaline::platform
