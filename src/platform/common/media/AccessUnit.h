#pragma once

#include <cstdint>
#include <optional>

#include "base/Bytes.h"
#include "platform/VideoCoding.h"

namespace tessaline::platform {

/// How an encoder separates the NAL units of its output.
enum class NalFraming {
  startCodes,  ///< Annex B
  lengths,     ///< 4 big-endian bytes before each
};

/// One access unit as the display devices want it.
struct AccessUnit {
  Bytes slices;  ///< the coded slices, each preceded by its length as 4 big-endian bytes
  std::optional<ParameterSets> parameterSets;  ///< when both were found
};

/// Sorts an encoder's output: slices, parameter sets, and what nobody needs to receive (SEI, access
/// unit delimiters, filler). Nothing when it is malformed or has no slice.
[[nodiscard]] std::optional<AccessUnit> splitAccessUnit(ByteView output, NalFraming framing);

}  // namespace tessaline::platform
