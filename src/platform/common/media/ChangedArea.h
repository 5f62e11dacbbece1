#pragma once

#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"

namespace tessaline::platform {

// An encoder that knows where a picture differs from the one before says so beside its slices, for
// those who draw it: a letter on a large screen then costs them a letter. It is a unit of user data
// (SEI type 5), which every H.264 decoder passes over. A picture that can be decoded by itself, or
// with more than one such unit, may differ anywhere.

constexpr int kMacroblock = 16;            ///< pixels
constexpr std::uint8_t kUserDataUnit = 6;  ///< NAL unit type

/// That unit, after its length as 4 big-endian bytes. `area` is in macroblocks, each number below
/// 2¹⁴, and may be empty.
[[nodiscard]] Bytes changedAreaUnit(const PixelRect& area);

/// The area that a NAL unit of user data speaks of, in macroblocks; nothing when it is about
/// something else.
[[nodiscard]] std::optional<PixelRect> readChangedArea(ByteView unit);

}  // namespace tessaline::platform
