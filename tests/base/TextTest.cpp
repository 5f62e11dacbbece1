#include <gtest/gtest.h>

#include <algorithm>

#include "base/Hashes.h"
#include "base/RandomText.h"
#include "base/SafeText.h"
#include "base/Utf8.h"

namespace tessaline {
namespace {

TEST(Utf8, InvalidSequencesBecomeReplacements) {
  const struct {
    std::string_view bytes;
    std::string_view repaired;
  } cases[] = {
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
}

TEST(SafeText, LeavesLettersAndNothingThatATerminalObeys) {
  EXPECT_EQ(withoutControls("Größe “é” 屏幕 🖥️"), "Größe “é” 屏幕 🖥️");
  EXPECT_EQ(withoutControls("a\x1b[2Jb\u009bc\u202ed\u2066e\x7f"), "a?[2Jb?c?d?e?");
}

// A display's serial number and the page's version must not change between releases.
TEST(Hashes, AreTheStandardOnes) {
  EXPECT_EQ(stableHash("é"), (5381U * 33 + 0xC3) * 33 + 0xA9);
  EXPECT_EQ(hashValueStable("a"), 0xAF63DC4C8601EC8CU);
}

// The link key is one.
TEST(RandomText, UsesTheWholeAlphabetEqually) {
  const std::string text = randomText(3000, "ab7");
  for (const char letter : {'a', 'b', '7'}) EXPECT_GT(std::ranges::count(text, letter), 800);
}

}  // namespace
}  // namespace tessaline
