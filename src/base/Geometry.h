#pragma once

#include <cstdint>

namespace tessaline {

/// Width and height in pixels.
struct PixelSize {
  int width = 0;
  int height = 0;
  bool operator==(const PixelSize&) const = default;
};

/// Width and height in millimetres.
struct SizeMM {
  double width = 0;
  double height = 0;
  bool operator==(const SizeMM&) const = default;
};

/// A rectangle of pixels; the right and bottom edges lie outside it.
struct PixelRect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  [[nodiscard]] bool empty() const { return width <= 0 || height <= 0; }
  [[nodiscard]] std::int64_t area() const {
    return empty() ? 0 : static_cast<std::int64_t>(width) * height;
  }
  [[nodiscard]] bool contains(int px, int py) const {
    return px >= x && py >= y && px < x + width && py < y + height;
  }
  bool operator==(const PixelRect&) const = default;
};

/// A rectangle in fractions of a display, 0…1 from the top left.
struct UnitRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const UnitRect&) const = default;
};

}  // namespace tessaline
