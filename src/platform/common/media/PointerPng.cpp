#include "platform/common/media/PointerPng.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace tessaline::platform {
namespace {

constexpr int kMaximumSide = 1024;  // pixels; the largest pointers in use have 256
// Bytes: twice what the pixels of the largest image have, so that a file that packs nothing fits.
constexpr std::size_t kMaximumFile = std::size_t{2} * 4 * kMaximumSide * kMaximumSide;

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kTypeBytes = 4;
constexpr std::size_t kChecksumBytes = 4;
// What the pixels and their colours need. None of these grows when it is read before the size is
// known: texts and profiles may be packed a thousandfold, and libpng unpacks and keeps them all.
constexpr std::array<std::string_view, 8> kChunksRead = {"IHDR", "PLTE", "tRNS", "gAMA",
                                                         "cHRM", "sRGB", "IDAT", "IEND"};

/// The file without the chunks that are not read, and without what follows a chunk that is cut off.
Bytes essentialChunks(ByteView file) {
  ByteReader reader(file);
  ByteWriter kept(file.size());
  kept.append(reader.take(kSignatureBytes).value_or(ByteView()));
  for (;;) {
    const ByteView chunk = reader.rest();
    const auto length = reader.u32();
    const auto type = reader.take(kTypeBytes);
    if (!length || !type || !reader.take(std::size_t{*length} + kChecksumBytes)) return kept.take();
    if (std::ranges::find(kChunksRead, viewText(*type)) == kChunksRead.end()) continue;
    kept.append(chunk.first(chunk.size() - reader.rest().size()));
  }
}

}  // namespace

Bytes encodePointerPng(const PointerImage& image) {
  if (image.width <= 0 || image.height <= 0 || image.width > kMaximumSide ||
      image.height > kMaximumSide) {
    return {};
  }
  const auto pixels =
      static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  if (image.rgba.size() != pixels * 4) return {};

  // libpng's simplified interface reports errors by its result: no jump leaves it.
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = PNG_FORMAT_RGBA;
  png.flags = PNG_IMAGE_FLAG_FAST;  // a pointer is sent over the local network once per shape
  Bytes file(PNG_IMAGE_PNG_SIZE_MAX(png));
  png_alloc_size_t size = file.size();
  if (png_image_write_to_memory(&png, file.data(), &size, 0, image.rgba.data(), 0, nullptr) == 0) {
    png_image_free(&png);
    return {};
  }
  file.resize(size);
  return file;
}

std::optional<PointerImage> decodePointerPng(ByteView file) {
  if (file.size() > kMaximumFile) return std::nullopt;
  const Bytes chunks = essentialChunks(file);
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  // Reads what comes before the pixels; the size is known then and nothing has been unpacked.
  if (png_image_begin_read_from_memory(&png, chunks.data(), chunks.size()) == 0) {
    return std::nullopt;
  }
  if (png.width > kMaximumSide || png.height > kMaximumSide) {
    png_image_free(&png);
    return std::nullopt;
  }
  png.format = PNG_FORMAT_RGBA;
  PointerImage image;
  image.width = static_cast<int>(png.width);
  image.height = static_cast<int>(png.height);
  image.rgba.resize(PNG_IMAGE_SIZE(png));
  if (png_image_finish_read(&png, nullptr, image.rgba.data(), 0, nullptr) == 0) return std::nullopt;
  return image;
}

}  // namespace tessaline::platform
