#include <gtest/gtest.h>
#include <png.h>

#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoCoding.h"

namespace tessaline::platform {
namespace {

TEST(PointerPng, DecodesBackToTheSamePixelsAndRefusesSizesThatDoNotFitThem) {
  AsioQueues queues;
  const std::unique_ptr<VideoCoding> coding = createVideoCoding(queues);
  PointerImage original{.serial = 0, .width = 13, .height = 7, .rgba = Bytes(13 * 7 * 4)};
  for (std::size_t i = 0; i < original.rgba.size(); ++i) {
    original.rgba[i] = static_cast<std::uint8_t>(i * 37 + i / 11);
  }
  const Bytes file = coding->encodePng(original);
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_memory(&png, file.data(), file.size()), 0);
  EXPECT_EQ(png.width, 13U);
  EXPECT_EQ(png.height, 7U);
  EXPECT_TRUE((png.format & PNG_FORMAT_FLAG_ALPHA) != 0);
  png.format = PNG_FORMAT_RGBA;
  Bytes pixels(PNG_IMAGE_SIZE(png));
  ASSERT_NE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr), 0);
  EXPECT_EQ(pixels, original.rgba);

  for (const PixelSize size : {PixelSize{13, 8}, {1025, 1}, {0, 0}, {-13, -7}}) {
    PointerImage odd = original;
    odd.width = size.width;
    odd.height = size.height;
    if (size.width == 1025) odd.rgba.resize(1025 * 4);
    EXPECT_TRUE(coding->encodePng(odd).empty()) << size.width;
  }
}

}  // namespace
}  // namespace tessaline::platform
