#pragma once

#include <string_view>

namespace tessaline {

/// Writes one line, "[Tessaline] " and `message`, to the system log and to standard error.
/// Callable from any thread. Line ends and control characters inside `message` (a device's name,
/// say) are replaced, so that one call is always one line. Nothing secret belongs in a message.
void log(std::string_view message);

}  // namespace tessaline
