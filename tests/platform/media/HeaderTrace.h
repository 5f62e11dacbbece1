#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/Bytes.h"

namespace tessaline::platform {

/// The syntax elements of an H.264 parameter set (NAL header included), in order, as libavcodec's
/// own reader names and reads them. Empty when it cannot be read.
using HeaderTrace = std::vector<std::pair<std::string, long>>;
[[nodiscard]] HeaderTrace traceHeader(ByteView unit);

/// The value of the first element of that name, -1 without one.
[[nodiscard]] long valueOf(const HeaderTrace& trace, const std::string& name);

}  // namespace tessaline::platform
