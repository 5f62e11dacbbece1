#include "platform/linux/wayland/screencast/CastPointer.h"

#include <gtest/gtest.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <cstring>

namespace tessaline::platform {
namespace {

struct Meta {
  spa_meta_cursor cursor{1, 0, {7, 8}, {1, 2}, sizeof(spa_meta_cursor)};
  spa_meta_bitmap bitmap{SPA_VIDEO_FORMAT_RGBA, {2, 2}, 8, sizeof(spa_meta_bitmap)};
  Bytes pixels = Bytes(16, 100);

  /// In memory of exactly its size, so that a sanitizer sees a read past it.
  [[nodiscard]] std::optional<CastPointer> read() const {
    Bytes memory(sizeof(cursor) + sizeof(bitmap) + pixels.size());
    std::memcpy(memory.data(), &cursor, sizeof(cursor));
    std::memcpy(memory.data() + sizeof(cursor), &bitmap, sizeof(bitmap));
    std::memcpy(memory.data() + sizeof(cursor) + sizeof(bitmap), pixels.data(), pixels.size());
    return CastPointer::read(memory);
  }
};

TEST(CastPointer, ReadsEveryOrderOfColoursAndDividesByAlpha) {
  struct Case {
    spa_video_format format;
    Bytes pixel;  // 40, 20, 10 of 80
  };
  const Case cases[] = {{SPA_VIDEO_FORMAT_RGBA, {40, 20, 10, 80}},
                        {SPA_VIDEO_FORMAT_BGRA, {10, 20, 40, 80}},
                        {SPA_VIDEO_FORMAT_ARGB, {80, 40, 20, 10}},
                        {SPA_VIDEO_FORMAT_ABGR, {80, 10, 20, 40}}};
  for (const auto& [format, pixel] : cases) {
    Meta meta;
    meta.bitmap.format = format;
    meta.bitmap.size = {1, 1};
    meta.pixels = pixel;
    meta.bitmap.stride = 4;
    const auto pointer = meta.read();
    ASSERT_TRUE(pointer && pointer->image);
    EXPECT_EQ(pointer->image->rgba, (Bytes{128, 64, 32, 80})) << format;
    EXPECT_EQ(pointer->position, (PixelPoint{7, 8}));
    EXPECT_EQ(pointer->image->hotSpotY, 2);
  }
}

TEST(CastPointer, NonsenseIsNoImage) {
  const std::function<void(Meta&)> wrongs[] = {
      [](Meta& meta) {
        meta.bitmap.size = {3, 2};
      },
      [](Meta& meta) {
        meta.bitmap.size = {2, 3};
      },
      [](Meta& meta) {
        meta.bitmap.size = {2, 0x40000001};
      },
      [](Meta& meta) { meta.bitmap.stride = -8; },
      [](Meta& meta) { meta.bitmap.stride = 9; },
      [](Meta& meta) { meta.bitmap.stride = 0x7FFFFFFF; },
      [](Meta& meta) { meta.bitmap.offset = 0xFFFFFFF0; },
      [](Meta& meta) { meta.bitmap.offset = 1; },
      [](Meta& meta) { meta.bitmap.format = SPA_VIDEO_FORMAT_NV12; },
      [](Meta& meta) { meta.cursor.bitmap_offset = 0xFFFFFFFF; },
      [](Meta& meta) { meta.cursor.bitmap_offset = 4; },
      [](Meta& meta) { meta.cursor.hotspot.x = -2147483647 - 1; },
  };
  ASSERT_TRUE(Meta().read()->image);
  for (std::size_t i = 0; i < std::size(wrongs); ++i) {
    Meta meta;
    wrongs[i](meta);
    const auto pointer = meta.read();
    ASSERT_TRUE(pointer) << i;
    EXPECT_TRUE(pointer->here) << i;
    EXPECT_FALSE(pointer->image) << i;
  }
  EXPECT_FALSE(CastPointer::read(Bytes(8)));
}

}  // namespace
}  // namespace tessaline::platform
