#pragma once

#include <string>

namespace tessaline::platform {

/// The name that the user gave this computer (/etc/machine-info), else its host name, else "Mac".
[[nodiscard]] std::string readComputerName();

}  // namespace tessaline::platform
