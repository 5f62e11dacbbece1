#pragma once

#include "base/Bytes.h"

namespace tessaline::platform {

/// Marks the H.264 sequence parameter set `unit` (NAL header included) of a stream without B-frames
/// and reordering as what it is, where the encoder does not: Constrained High profile.
/// Parameter sets of other profiles stay as they are.
void completeSequenceParameterSet(Bytes& unit);

}  // namespace tessaline::platform
