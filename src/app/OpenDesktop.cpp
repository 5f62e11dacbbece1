#include "app/OpenDesktop.h"

#include "platform/linux/x11/X11Desktop.h"

namespace tessaline {

Result<std::unique_ptr<platform::DesktopEnvironment>> openDesktop(Queues& queues) {
  return platform::openX11Desktop(queues);
}

}  // namespace tessaline
