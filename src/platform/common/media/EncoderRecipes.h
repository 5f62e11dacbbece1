#pragma once

#include "platform/common/media/H264Encoder.h"
#include "platform/common/media/X264Encoder.h"

namespace tessaline::platform {

/// The set-ups that this system uses, chosen by measurement (bench_encoder). `processors` is how
/// many of the machine's may be had.
[[nodiscard]] EncoderRecipe nvencRecipe();
[[nodiscard]] EncoderRecipe vaapiRecipe();
[[nodiscard]] X264Recipe x264Recipe(unsigned processors);

}  // namespace tessaline::platform
