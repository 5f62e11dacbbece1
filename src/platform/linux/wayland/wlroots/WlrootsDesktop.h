#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline::platform {

/// The desktop of a compositor of the wlroots family at $WAYLAND_DISPLAY. Its extra displays are
/// headless outputs, which only sway makes on request (at $SWAYSOCK); their pictures come without
/// the pointer where the compositor knows ext-image-copy-capture-v1.

/// What this session's compositor lacks, as the end of a sentence; nothing when it serves. Waits
/// for a compositor that hangs for a few seconds at most.
[[nodiscard]] std::optional<std::string> wlrootsObstacle();

/// Fails with the obstacle. Outputs that a crashed run left behind are removed. `queues` outlive
/// the desktop; the queues given to its capture streams must be AsioQueues, best with a thread of
/// their own. Main queue.
[[nodiscard]] Result<std::unique_ptr<DesktopEnvironment>> openWlrootsDesktop(Queues& queues);

}  // namespace tessaline::platform
