#pragma once

#include <optional>
#include <span>

#include "base/Bytes.h"
#include "base/Geometry.h"
#include "platform/PointerSource.h"

namespace tessaline::platform {

/// The largest pointer image that a stream may carry, pixels each way.
inline constexpr int kMaximumPointerSide = 384;
/// Bytes that a stream needs to say all about a pointer with an image of `side` × `side` pixels.
[[nodiscard]] int castPointerBytes(int side);

/// What one buffer of a screen cast says about the pointer.
struct CastPointer {
  bool here = false;    ///< on this stream at all
  PixelPoint position;  ///< of its hot spot, pixels of the stream; may lie outside
  /// A new image, with no pixels when the pointer is hidden; nothing when it is unchanged.
  std::optional<PointerImage> image;

  /// `meta` is memory that another process writes, at any time. Nothing when it makes no sense;
  /// an image that makes none is as if there was none.
  [[nodiscard]] static std::optional<CastPointer> read(std::span<const std::uint8_t> meta);
};

}  // namespace tessaline::platform
