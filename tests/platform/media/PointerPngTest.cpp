#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>

#include <string>

#include "platform/common/media/PointerPng.h"

namespace tessaline::platform {
namespace {

/// A picture of one pixel and a text that takes a thousandth of its size.
Bytes fileWithText() {
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  const auto append = [](png_structp writer, png_bytep data, std::size_t size) {
    auto& bytes = *static_cast<Bytes*>(png_get_io_ptr(writer));
    bytes.insert(bytes.end(), data, data + size);
  };
  png_set_write_fn(png, &file, append, nullptr);
  png_set_IHDR(png, info, 1, 1, 8, PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  std::string key = "Comment";
  std::string text(7'900'000, 'x');
  png_text entry = {};
  entry.compression = PNG_TEXT_COMPRESSION_zTXt;
  entry.key = key.data();
  entry.text = text.data();
  entry.text_length = text.size();
  png_set_text(png, info, &entry, 1);
  png_write_info(png, info);
  const Bytes pixel = {1, 2, 3, 4};
  png_write_row(png, pixel.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return file;
}

TEST(PointerPng, UnpacksNothingButThePicture) {
  constexpr std::size_t kText = 8 + 25;    // the signature and the header come before it
  constexpr std::size_t kAroundText = 12;  // its length, type and checksum
  Bytes file = fileWithText();
  ASSERT_EQ(viewText(ByteView(file).subspan(kText + 4, 4)), "zTXt");
  const std::size_t size = *ByteReader(ByteView(file).subspan(kText)).u32() + kAroundText;
  const Bytes text(file.begin() + kText, file.begin() + static_cast<std::ptrdiff_t>(kText + size));
  for (int i = 0; i < 30; ++i) file.insert(file.begin() + kText, text.begin(), text.end());

  const auto peak = [] {  // megabytes
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
  };
  const long before = peak();
  const auto image = decodePointerPng(file);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->rgba, (Bytes{1, 2, 3, 4}));
  EXPECT_LT(peak(), before + 100) << "all texts take 240 MB";
}

}  // namespace
}  // namespace tessaline::platform
