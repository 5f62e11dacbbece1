#pragma once

#include <memory>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline::platform {

/// Whether Mutter (GNOME's compositor) is on the session bus and offers screen casts and remote
/// input. Asks the bus and nobody else, starts nothing, and answers within a second; meant to be
/// asked once, before anything else runs on the main queue.
[[nodiscard]] bool mutterServes();

/// The desktop of the Mutter on the session bus. `queues` must outlive it. Main queue.
[[nodiscard]] Result<std::unique_ptr<DesktopEnvironment>> openMutterDesktop(Queues& queues);

}  // namespace tessaline::platform
