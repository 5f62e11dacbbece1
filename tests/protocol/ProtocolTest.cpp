#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "protocol/Cursor.h"
#include "protocol/Framing.h"
#include "protocol/Hello.h"
#include "protocol/ParameterSets.h"

namespace tessaline {
namespace {

TEST(Framing, ReadersRefuseWhatTheyCannotHold) {
  const auto accepted = [](std::uint32_t length, std::uint32_t limit) {
    return framing::acceptedLength(ByteWriter().u32(length).take(), limit);
  };
  EXPECT_FALSE(accepted(0, framing::kMainReaderLimit));
  EXPECT_EQ(accepted(1, framing::kMainReaderLimit), 1U);
  EXPECT_EQ(accepted(1'048'575, framing::kMainReaderLimit), 1'048'575U);
  EXPECT_FALSE(accepted(1'048'576, framing::kMainReaderLimit));
  EXPECT_EQ(accepted(1'048'576, framing::kScreenReaderLimit), 1'048'576U);
  EXPECT_FALSE(accepted(67'108'864, framing::kScreenReaderLimit));
  EXPECT_FALSE(framing::acceptedLength(Bytes{0, 0, 1}, framing::kScreenReaderLimit));
}

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

TEST(ParameterSets, AreReadOnlyWhenTheirLengthsHold) {
  const Bytes sequence(10, 0x67);
  const Bytes picture(4, 0x68);
  const Bytes payload = ParameterSetPair::encoded(sequence, picture);
  ASSERT_EQ(payload.size(), 18U);
  EXPECT_EQ(payload[1], 10);
  EXPECT_EQ(payload[13], 4);
  const auto read = ParameterSetPair::decoded(payload);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->sequence, sequence);
  EXPECT_EQ(read->picture, picture);
  for (std::size_t size = 0; size < payload.size(); ++size) {
    EXPECT_FALSE(ParameterSetPair::decoded(ByteView(payload).first(size))) << size;
  }
}

TEST(CursorPosition, IsNormalizedToItsDisplayAndClamped) {
  const PixelRect bounds{1000, 100, 800, 600};
  const struct {
    double x, y;
    CursorPosition expected;
  } cases[] = {
      {1000, 100, {0, 0, true}},
      {1400, 400, {32768, 32768, true}},
      {1799, 699, {65453, 65426, true}},
      {1800, 400, {65535, 32768, false}},  // the right edge lies outside
      {0, 400, {0, 32768, false}},
      {1e12, -1e12, {65535, 0, false}},
      {std::numeric_limits<double>::infinity(), 100, {65535, 0, false}},
      {std::nan(""), 100, {0, 0, false}},
  };
  for (const auto& [x, y, expected] : cases) {
    EXPECT_EQ(CursorPosition::on(bounds, x, y), expected) << x << ", " << y;
  }
}

TEST(CursorDatagram, IsEightBytesAndNothingElse) {
  const Bytes datagram = {6, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 1};
  const auto read = CursorUpdate::decoded(datagram);
  ASSERT_TRUE(read);
  EXPECT_TRUE(std::ranges::equal(read->datagram(), datagram));
  for (std::size_t size = 0; size < datagram.size(); ++size) {
    EXPECT_FALSE(CursorUpdate::decoded(ByteView(datagram).first(size))) << size;
  }
  EXPECT_FALSE(CursorUpdate::decoded(Bytes{7, 0, 0, 0, 0, 0, 0, 1}));
}

}  // namespace
}  // namespace tessaline
