#include "platform/linux/wayland/screencast/CastPointer.h"

#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tessaline::platform {
namespace {

/// Where a pixel's four bytes have red, green, blue and alpha.
using Order = std::array<std::size_t, 4>;

std::optional<Order> orderOf(std::uint32_t format) {
  switch (format) {
    case SPA_VIDEO_FORMAT_RGBA:
      return Order{0, 1, 2, 3};
    case SPA_VIDEO_FORMAT_BGRA:
      return Order{2, 1, 0, 3};
    case SPA_VIDEO_FORMAT_ARGB:
      return Order{1, 2, 3, 0};
    case SPA_VIDEO_FORMAT_ABGR:
      return Order{3, 2, 1, 0};
    default:
      return std::nullopt;
  }
}

/// A copy, as the other process may change the original while it is looked at.
template <typename T>
std::optional<T> copied(std::span<const std::uint8_t> memory, std::size_t offset) {
  if (offset > memory.size() || memory.size() - offset < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, memory.data() + offset, sizeof(T));
  return value;
}

/// Straight colours from ones that are multiplied by alpha.
Bytes straightened(std::span<const std::uint8_t> pixels, std::size_t stride, std::size_t width,
                   std::size_t height, const Order& order) {
  Bytes rgba(width * height * 4);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      std::array<std::uint8_t, 4> from{};
      std::memcpy(from.data(), pixels.data() + y * stride + x * 4, 4);
      const unsigned alpha = from[order[3]];
      std::uint8_t* const to = rgba.data() + (y * width + x) * 4;
      for (std::size_t i = 0; i < 3 && alpha > 0; ++i) {
        const unsigned colour = (from[order[i]] * 255U + alpha / 2) / alpha;
        to[i] = static_cast<std::uint8_t>(std::min(255U, colour));
      }
      to[3] = static_cast<std::uint8_t>(alpha);
    }
  }
  return rgba;
}

std::optional<PointerImage> readImage(std::span<const std::uint8_t> memory, spa_point hotSpot) {
  const auto bitmap = copied<spa_meta_bitmap>(memory, 0);
  if (!bitmap || !spa_meta_bitmap_is_valid(&*bitmap)) return std::nullopt;
  const std::size_t width = bitmap->size.width;
  const std::size_t height = bitmap->size.height;
  if (bitmap->offset == 0 || width == 0 || height == 0) return PointerImage();
  const auto order = orderOf(bitmap->format);
  if (!order || width > kMaximumPointerSide || height > kMaximumPointerSide) return std::nullopt;
  // As the hot spot of a pointer may lie a little outside, but not anywhere.
  const auto sane = [](std::int32_t at) {
    return std::abs(std::int64_t{at}) <= kMaximumPointerSide;
  };
  if (!sane(hotSpot.x) || !sane(hotSpot.y)) return std::nullopt;
  if (bitmap->offset < sizeof(spa_meta_bitmap) || bitmap->offset > memory.size()) {
    return std::nullopt;
  }
  const auto pixels = memory.subspan(bitmap->offset);
  if (bitmap->stride < 0) return std::nullopt;
  const auto stride = static_cast<std::size_t>(bitmap->stride);
  if (stride < width * 4 || stride > pixels.size()) return std::nullopt;
  if (stride * (height - 1) + width * 4 > pixels.size()) return std::nullopt;

  PointerImage image;
  image.width = static_cast<int>(width);
  image.height = static_cast<int>(height);
  image.hotSpotX = hotSpot.x;
  image.hotSpotY = hotSpot.y;
  image.rgba = straightened(pixels, stride, width, height, *order);
  return image;
}

}  // namespace

int castPointerBytes(int side) {
  return static_cast<int>(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap)) + side * side * 4;
}

std::optional<CastPointer> CastPointer::read(std::span<const std::uint8_t> meta) {
  const auto cursor = copied<spa_meta_cursor>(meta, 0);
  if (!cursor) return std::nullopt;
  CastPointer pointer;
  if (!spa_meta_cursor_is_valid(&*cursor)) return pointer;
  pointer.here = true;
  pointer.position = {cursor->position.x, cursor->position.y};
  if (cursor->bitmap_offset >= sizeof(spa_meta_cursor) && cursor->bitmap_offset < meta.size()) {
    pointer.image = readImage(meta.subspan(cursor->bitmap_offset), cursor->hotspot);
  }
  return pointer;
}

}  // namespace tessaline::platform
