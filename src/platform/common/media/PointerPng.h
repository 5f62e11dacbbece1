#pragma once

#include <optional>

#include "base/Bytes.h"
#include "platform/PointerSource.h"

namespace tessaline::platform {

/// `image` as a PNG file; empty when its size is not sane or does not fit its pixels.
[[nodiscard]] Bytes encodePointerPng(const PointerImage& image);

/// The image in the PNG file `file`, without hot spot and serial; nothing when there is none or it
/// is too large, which shows before anything is unpacked.
[[nodiscard]] std::optional<PointerImage> decodePointerPng(ByteView file);

}  // namespace tessaline::platform
