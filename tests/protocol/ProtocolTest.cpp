#include <gtest/gtest.h>

#include "protocol/Hello.h"

namespace tessaline {
namespace {

TEST(HelloPayload, ReadsOlderAndBrokenForms) {
  const Bytes sizes{7, 128, 4, 56, 1, 220, 1, 12};  // 1920 × 1080 pixels, 476 × 268 mm
  const struct {
    Bytes tail;
    int scale;
    std::string id;
  } cases[] = {
      {{}, 1, "legacy-S"},
      {{3}, 3, "legacy-S"},
      {{0}, 1, "legacy-S"},
      {{2, 0}, 2, "legacy-S"},
      {{2, 3, 'a', 'b'}, 2, "legacy-S"},  // promises more than remains
      {{2, 2, 'a', 'b', 'c'}, 2, "ab"},
      {{1, 2, 'a', 0xFF}, 1, "a\uFFFD"},
  };
  for (const auto& [tail, scale, id] : cases) {
    Bytes payload = sizes;
    payload.insert(payload.end(), tail.begin(), tail.end());
    const auto hello = Hello::decoded(payload, "S");
    ASSERT_TRUE(hello);
    EXPECT_EQ(hello->width, 1920);
    EXPECT_EQ(hello->sizeMM, (SizeMM{476, 268}));
    EXPECT_EQ(hello->scale, scale);
    EXPECT_EQ(hello->deviceID, id);
  }
  for (std::size_t size = 0; size < 8; ++size) {
    EXPECT_FALSE(Hello::decoded(ByteView(sizes).first(size), "S"));
  }
}

}  // namespace
}  // namespace tessaline
