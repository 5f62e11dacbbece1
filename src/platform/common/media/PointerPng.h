#pragma once

#include "base/Bytes.h"
#include "platform/PointerSource.h"

namespace tessaline::platform {

/// `image` as a PNG file; empty when its size is not sane or does not fit its pixels.
[[nodiscard]] Bytes encodePointerPng(const PointerImage& image);

}  // namespace tessaline::platform
