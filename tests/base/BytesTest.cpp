#include "base/Bytes.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "base/Hashes.h"
#include "base/RandomText.h"
#include "base/Utf8.h"

namespace tessaline {
namespace {

TEST(ByteReader, NeverReadsPastTheEndAndKeepsItsPlace) {
  const Bytes bytes = ByteWriter().u8(1).u16(0x0203).u32(0x04050607).take();
  EXPECT_EQ(bytes, (Bytes{1, 2, 3, 4, 5, 6, 7}));
  ByteReader reader(bytes);
  EXPECT_EQ(reader.u8(), 1);
  EXPECT_EQ(reader.u16(), 0x0203);
  EXPECT_FALSE(reader.take(5));
  EXPECT_EQ(reader.u32(), 0x04050607U);
  EXPECT_FALSE(reader.u8());
  EXPECT_FALSE(reader.u16());
}

TEST(Utf8, InvalidSequencesBecomeReplacements) {
  const struct {
    std::string_view bytes;
    std::string_view repaired;
  } cases[] = {
      {"plain", "plain"},
      {"né日🙂", "né日🙂"},
      {"a\xFF"
       "b",
       "a\uFFFDb"},
      {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"cut \xE6\x97", "cut \uFFFD\uFFFD"},
  };
  for (const auto& [bytes, repaired] : cases) EXPECT_EQ(repairUtf8(viewBytes(bytes)), repaired);
  EXPECT_EQ(firstCharacters("né日🙂x", 4), "né日🙂");
  EXPECT_EQ(firstCharacters("ab", 4), "ab");
  EXPECT_EQ(decodeUtf8("aß€🙂"), U"aß€🙂");
  EXPECT_EQ(encodeUtf8(U"aß€🙂"), "aß€🙂");
}

// A display's serial number and the page's version must not change between releases.
TEST(Hashes, AreTheStandardOnes) {
  EXPECT_EQ(stableHash(""), 5381U);
  EXPECT_EQ(stableHash("a"), 177670U);
  EXPECT_EQ(stableHash("é"), (5381U * 33 + 0xC3) * 33 + 0xA9);
  EXPECT_EQ(hashValueStable(""), 0xCBF29CE484222325U);
  EXPECT_EQ(hashValueStable("a"), 0xAF63DC4C8601EC8CU);
}

TEST(RandomText, UsesTheWholeAlphabetAndNothingElse) {
  const std::string text = randomText(4000, "ab7");
  EXPECT_EQ(text.size(), 4000U);
  EXPECT_EQ(
      std::ranges::count(text, 'a') + std::ranges::count(text, 'b') + std::ranges::count(text, '7'),
      4000);
  EXPECT_GT(std::ranges::count(text, '7'), 1000);
  EXPECT_THAT(
      randomUuid(),
      testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
}

}  // namespace
}  // namespace tessaline
