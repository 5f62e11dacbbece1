#pragma once

#include <memory>

#include "platform/ProcessRunner.h"

namespace tessaline::platform {

/// Child processes by posix_spawn.
[[nodiscard]] std::shared_ptr<ProcessRunner> createProcessRunner();

}  // namespace tessaline::platform
