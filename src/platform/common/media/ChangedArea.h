#pragma once

#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"

namespace tessaline::platform {

// An encoder that knows where a picture differs from the one before says so beside its slices, for
// those who draw it: a letter on a large screen then costs them a letter. It is a unit of user data
// (SEI type 5), which every H.264 decoder passes over.

/// That unit, after its length as 4 big-endian bytes. `area` is in macroblocks of 16 × 16 pixels,
/// each number below 2¹⁴, and may be empty.
[[nodiscard]] Bytes changedAreaUnit(const PixelRect& area);

/// The area that user data (an identifier of 16 bytes and what it announces) speak of, in
/// macroblocks; nothing when they are about something else.
[[nodiscard]] std::optional<PixelRect> readChangedArea(ByteView userData);

}  // namespace tessaline::platform
