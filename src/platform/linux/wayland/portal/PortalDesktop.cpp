#include "platform/linux/wayland/portal/PortalDesktop.h"

namespace tessaline::platform {

Result<std::unique_ptr<DesktopEnvironment>> openPortalDesktop(
    Queues& /*queues*/, const std::filesystem::path& /*support*/) {
  if (const auto obstacle = portalObstacle()) return Failure{*obstacle};
  return Failure{"Extra displays from the desktop portal are not built in yet."};
}

}  // namespace tessaline::platform
