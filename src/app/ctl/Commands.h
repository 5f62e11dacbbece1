#pragma once

#include <string>
#include <vector>

#include "platform/ControlEndpoint.h"

namespace tessaline::ctl {

/// Runs one command line of tessalinectl (without the program's name) and answers the exit code.
[[nodiscard]] int runCommand(const std::vector<std::string>& arguments,
                             platform::ControlClient& client);

}  // namespace tessaline::ctl
