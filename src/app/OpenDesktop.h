#pragma once

#include <memory>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline {

/// The desktop session that this process runs in, or why it offers no virtual displays. On the main
/// queue.
[[nodiscard]] Result<std::unique_ptr<platform::DesktopEnvironment>> openDesktop(Queues& queues);

}  // namespace tessaline
