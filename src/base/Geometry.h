#pragma once

#include <algorithm>
#include <cstdint>

namespace tessaline {

/// Width and height in pixels.
struct PixelSize {
  int width = 0;
  int height = 0;
  bool operator==(const PixelSize&) const = default;
};

/// A place in pixels, from the top left.
struct PixelPoint {
  int x = 0;
  int y = 0;
  bool operator==(const PixelPoint&) const = default;
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

/// The smallest rectangle that holds both; an empty one is nowhere.
[[nodiscard]] inline PixelRect united(const PixelRect& a, const PixelRect& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  const int left = std::min(a.x, b.x);
  const int top = std::min(a.y, b.y);
  const int right = std::max(a.x + a.width, b.x + b.width);
  const int bottom = std::max(a.y + a.height, b.y + b.height);
  return {left, top, right - left, bottom - top};
}

/// What both have in common, with no width or no height when that is nothing.
[[nodiscard]] inline PixelRect intersected(const PixelRect& a, const PixelRect& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

/// A rectangle in fractions of a display, 0…1 from the top left.
struct UnitRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const UnitRect&) const = default;
};

}  // namespace tessaline
