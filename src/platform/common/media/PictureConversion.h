#pragma once

#include <memory>

#include "platform/VideoDecoding.h"

namespace tessaline::platform {

/// As `VideoDecoding::scale`.
[[nodiscard]] std::shared_ptr<const VideoPicture> scalePicture(const VideoPicture& picture,
                                                               PixelSize size);

/// As `VideoDecoding::convert`.
void convertPicture(const VideoPicture& picture, const PixelRect& part, std::uint8_t* pixels,
                    int stride);

}  // namespace tessaline::platform
