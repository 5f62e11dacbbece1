#pragma once

#include "base/Bytes.h"

namespace tessaline::platform {

/// Makes the H.264 sequence parameter set `unit` (NAL header included, no start code) of a stream
/// without B-frames say all that it promises, where the encoder leaves it out: the flags that make
/// the High profile Constrained High, and the bitstream restriction without which a decoder may
/// hold pictures back, expecting them to be reordered. What cannot be understood stays as it is.
void completeSequenceParameterSet(Bytes& unit);

}  // namespace tessaline::platform
