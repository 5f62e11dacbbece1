#pragma once

#include "platform/common/media/H264Encoder.h"

namespace tessaline::platform {

[[nodiscard]] EncoderRecipe nvencRecipe();
[[nodiscard]] EncoderRecipe vaapiRecipe();
[[nodiscard]] EncoderRecipe x264Recipe();

}  // namespace tessaline::platform
