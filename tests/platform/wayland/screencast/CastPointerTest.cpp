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

TEST(CastPointer, NonsenseIsNoImage) {
  const spa_meta_bitmap wrongs[] = {
      // A size, a stride and an offset, each in turn beyond what is there.
      {SPA_VIDEO_FORMAT_RGBA, {3, 2}, 8, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 3}, 8, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 0x40000001}, 8, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 2}, -8, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 2}, 9, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 2}, 0x7FFFFFFF, sizeof(spa_meta_bitmap)},
      {SPA_VIDEO_FORMAT_RGBA, {2, 2}, 8, 0xFFFFFFF0},
      {SPA_VIDEO_FORMAT_RGBA, {2, 2}, 8, 1},
      {SPA_VIDEO_FORMAT_NV12, {2, 2}, 8, sizeof(spa_meta_bitmap)},
  };
  ASSERT_TRUE(Meta().read()->image);
  const auto expectNoImage = [](const Meta& meta) {
    const auto pointer = meta.read();
    ASSERT_TRUE(pointer);
    EXPECT_TRUE(pointer->here);
    EXPECT_FALSE(pointer->image);
  };
  for (std::size_t i = 0; i < std::size(wrongs); ++i) {
    SCOPED_TRACE(i);
    Meta meta;
    meta.bitmap = wrongs[i];
    expectNoImage(meta);
  }
  for (const std::uint32_t offset : {0xFFFFFFFF, 4U}) {
    Meta meta;
    meta.cursor.bitmap_offset = offset;
    expectNoImage(meta);
  }
  EXPECT_FALSE(CastPointer::read(Bytes(8)));
}

}  // namespace
}  // namespace tessaline::platform
