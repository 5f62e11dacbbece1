#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"

namespace tessaline {

/// Where the pointer is on the extra display: 0…65535 across its width and height.
struct CursorPosition {
  std::uint16_t x = 0;
  std::uint16_t y = 0;
  bool visible = false;  ///< the pointer lies inside the display
  bool operator==(const CursorPosition&) const = default;

  /// The pointer at (`x`, `y`) of the desktop, seen from a display with `bounds`.
  [[nodiscard]] static CursorPosition on(const PixelRect& bounds, double x, double y);
};

/// One position update. The payload of a message has 7 bytes; the datagram puts the message's type
/// in front of them.
struct CursorUpdate {
  std::uint16_t sequence = 0;
  CursorPosition position;

  [[nodiscard]] std::array<std::uint8_t, 8> datagram() const;
  /// Nothing for a datagram that is too short or of another type.
  [[nodiscard]] static std::optional<CursorUpdate> decoded(ByteView datagram);
};

/// The pointer's image: hot spot and size in 1/16 pixel, then a PNG file.
struct CursorShape {
  double hotSpotX = 0;
  double hotSpotY = 0;
  double width = 0;
  double height = 0;

  /// Values that do not fit are clamped.
  [[nodiscard]] Bytes encoded(ByteView png) const;
  /// Takes apart the payload of a message; nothing when no image can be in it. The image is a view
  /// of the payload.
  struct Decoded;
  [[nodiscard]] static std::optional<Decoded> decoded(ByteView payload);
};

struct CursorShape::Decoded {
  CursorShape shape;
  ByteView png;
};

}  // namespace tessaline
