#pragma once

#include <memory>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline::platform {

/// The desktop of the X server `displayName` (as in $DISPLAY, which an empty text stands for).
/// Displays that a crashed run left behind are removed. `queues` must outlive the desktop; the
/// queues given to its capture streams must be AsioQueues, best with a thread of their own. SIGPIPE
/// is ignored from now on, unless the process handles it: the X library writes to a server that has
/// gone.
[[nodiscard]] Result<std::unique_ptr<DesktopEnvironment>> openX11Desktop(
    Queues& queues, const std::string& displayName = {});

}  // namespace tessaline::platform
