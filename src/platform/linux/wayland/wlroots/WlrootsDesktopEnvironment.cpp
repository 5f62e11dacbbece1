#include "platform/linux/wayland/wlroots/SessionProbe.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"

namespace tessaline::platform {

std::optional<std::string> wlrootsObstacle() {
  const auto probe = SessionProbe::look();
  if (!probe) return probe.error();
  return std::nullopt;
}

Result<std::unique_ptr<DesktopEnvironment>> openWlrootsDesktop(Queues& /*queues*/) {
  if (const auto obstacle = wlrootsObstacle()) return Failure{*obstacle};
  return Failure{"its displays are not made yet"};
}

}  // namespace tessaline::platform
