#pragma once

#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"

namespace tessaline::platform {

/// Makes the H.264 sequence parameter set `unit` (NAL header included, no start code) of a stream
/// without B-frames say all that it promises, where the encoder leaves it out: the flags that make
/// the High profile Constrained High, and the bitstream restriction without which a decoder may
/// hold pictures back, expecting them to be reordered. What cannot be understood stays as it is.
void completeSequenceParameterSet(Bytes& unit);

/// The size of the visible picture that the H.264 sequence parameter set `unit` announces. Nothing
/// when it cannot be read, its pictures are not progressive 8-bit 4:2:0, or no level of the
/// standard allows as many pixels.
[[nodiscard]] std::optional<PixelSize> visiblePictureSize(ByteView unit);

}  // namespace tessaline::platform
