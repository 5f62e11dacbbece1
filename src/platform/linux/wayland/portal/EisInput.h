#pragma once

#include <memory>

#include "base/Geometry.h"
#include "platform/linux/wayland/portal/PortalInput.h"
#include "platform/linux/wayland/portal/PortalSession.h"

namespace tessaline::platform {

/// Input over a connection to the compositor's own emulated input (libei), where this build has it.
struct EisInput {
  [[nodiscard]] static bool builtIn();
  /// Takes `lease.eis` over, on a thread of its own. Empty where it is not built in or the
  /// connection is none. A connection that is lost later drops what is posted; the desktop ends the
  /// session with it.
  [[nodiscard]] static std::unique_ptr<PortalInput> open(const PortalSession::Lease& lease,
                                                         PixelSize picture);
};

}  // namespace tessaline::platform
