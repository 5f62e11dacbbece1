#pragma once

#include <memory>
#include <string>

#include "platform/DesktopEnvironment.h"

namespace tessaline::platform {

/// A desktop that cannot have extra displays. The application runs on it all the same, so that its
/// menu can say why (`limitation`). Main queue.
[[nodiscard]] std::unique_ptr<DesktopEnvironment> createLimitedDesktop(std::string limitation);

}  // namespace tessaline::platform
