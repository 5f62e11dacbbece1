// For systems without libei.
#include <unistd.h>

#include "platform/linux/wayland/portal/EisInput.h"

namespace tessaline::platform {

bool EisInput::builtIn() {
  return false;
}

std::unique_ptr<PortalInput> EisInput::open(const PortalSession::Lease& lease,
                                            PixelSize /*picture*/) {
  if (lease.eis >= 0) ::close(lease.eis);
  return nullptr;
}

}  // namespace tessaline::platform
