#include "platform/media/PictureMaker.h"

#include <libyuv/convert_from_argb.h>

namespace tessaline::platform {

Desktop::Desktop(PixelSize s)
    : size(s), pixels(static_cast<std::size_t>(s.width) * static_cast<std::size_t>(s.height)) {}

void Desktop::fill(PixelRect rect, std::uint32_t rgb) {
  for (int y = rect.y; y < rect.y + rect.height; ++y) {
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      at(x, y) = rgb;
    }
  }
}

void Desktop::noise(PixelRect rect, std::mt19937& random) {
  for (int y = rect.y; y < rect.y + rect.height; ++y) {
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      at(x, y) = static_cast<std::uint32_t>(random()) & 0xFFFFFF;
    }
  }
}

const std::uint8_t* Desktop::bytes(int x, int y) const {
  return reinterpret_cast<const std::uint8_t*>(&pixels[index(x, y)]);
}

std::shared_ptr<PixelBuffer> Desktop::converted() const {
  auto buffer = std::make_shared<PixelBuffer>(size);
  libyuv::ARGBToNV12(bytes(0, 0), stride(), buffer->luma(), buffer->stride(), buffer->chroma(),
                     buffer->stride(), size.width, size.height);
  return buffer;
}

std::shared_ptr<PixelBuffer> makePicture(PixelSize size, int number) {
  Desktop desktop(size);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int shifted = x + number * 7;
      const int shade = (shifted / 24 + y / 16) % 2 == 0 ? 40 + y * 160 / size.height : 220;
      desktop.at(x, y) = static_cast<std::uint32_t>(shade << 16 | shade << 8 | (shifted & 127));
    }
  }
  return desktop.converted();
}

std::shared_ptr<PixelBuffer> makeNoise(PixelSize size, std::mt19937& random) {
  Desktop desktop(size);
  desktop.noise({0, 0, size.width, size.height}, random);
  return desktop.converted();
}

}  // namespace tessaline::platform
