#include <gtest/gtest.h>
#include <png.h>

#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoCoding.h"

namespace tessaline::platform {
namespace {

class PointerPng : public testing::Test {
 protected:
  static PointerImage image(int width, int height) {
    PointerImage result;
    result.width = width;
    result.height = height;
    for (int i = 0; i < width * height * 4; ++i) {
      result.rgba.push_back(static_cast<std::uint8_t>(i * 37 + i / 11));
    }
    return result;
  }

  AsioQueues queues_;
  const std::unique_ptr<VideoCoding> coding_ = createVideoCoding(queues_);
};

TEST_F(PointerPng, DecodesBackToTheSamePixels) {
  for (const auto& [width, height] : {std::pair{24, 24}, {1, 1}, {13, 7}, {1024, 3}}) {
    const PointerImage original = image(width, height);
    const Bytes file = coding_->encodePng(original);
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&png, file.data(), file.size()), 0);
    EXPECT_EQ(png.width, static_cast<png_uint_32>(width));
    EXPECT_EQ(png.height, static_cast<png_uint_32>(height));
    EXPECT_TRUE((png.format & PNG_FORMAT_FLAG_ALPHA) != 0);
    png.format = PNG_FORMAT_RGBA;
    Bytes pixels(PNG_IMAGE_SIZE(png));
    ASSERT_NE(png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr), 0);
    EXPECT_EQ(pixels, original.rgba);
  }
}

TEST_F(PointerPng, RefusesSizesThatAreNotSaneOrDoNotFitThePixels) {
  PointerImage tooFew = image(16, 16);
  tooFew.rgba.pop_back();
  EXPECT_TRUE(coding_->encodePng(tooFew).empty());
  EXPECT_TRUE(coding_->encodePng(image(1025, 1)).empty());
  EXPECT_TRUE(coding_->encodePng(PointerImage{}).empty());
  PointerImage negative = image(4, 4);
  negative.width = negative.height = -4;
  EXPECT_TRUE(coding_->encodePng(negative).empty());
}

}  // namespace
}  // namespace tessaline::platform
