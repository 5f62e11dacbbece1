#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "platform/PixelBuffer.h"

namespace tessaline::platform {

/// A desktop's pixels for tests: 32 bits each, blue first in memory.
struct Desktop {
  explicit Desktop(PixelSize s);

  [[nodiscard]] std::size_t index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
           static_cast<std::size_t>(x);
  }
  std::uint32_t& at(int x, int y) { return pixels[index(x, y)]; }
  void fill(PixelRect rect, std::uint32_t rgb);
  void noise(PixelRect rect, std::mt19937& random);
  [[nodiscard]] const std::uint8_t* bytes(int x, int y) const;
  [[nodiscard]] int stride() const { return size.width * 4; }
  /// The whole picture converted at once.
  [[nodiscard]] std::shared_ptr<PixelBuffer> converted() const;

  PixelSize size;
  std::vector<std::uint32_t> pixels;
};

/// A picture with edges, ramps and areas of one colour, different for each `number`.
[[nodiscard]] std::shared_ptr<PixelBuffer> makePicture(PixelSize size, int number);
/// The hardest there is.
[[nodiscard]] std::shared_ptr<PixelBuffer> makeNoise(PixelSize size, std::mt19937& random);

}  // namespace tessaline::platform
