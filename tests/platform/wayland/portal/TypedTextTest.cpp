#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include "platform/linux/wayland/portal/TypedText.h"
#include "support/Keymap.h"

namespace tessaline::platform {
namespace {

TEST(TypedText, FindsTheKeysOfALayout) {
  const std::string text = test::keymapText("de,ru");
  if (text.empty()) GTEST_SKIP() << "there are no keyboard layouts here (package xkb-data)";
  const auto typed = TypedText::read(text);
  ASSERT_TRUE(typed);
  constexpr std::uint32_t kGerman = 0;
  constexpr std::uint32_t kRussian = 1;
  const auto is = [&](char32_t character, std::uint32_t group, std::uint32_t key,
                      std::vector<std::uint32_t> modifiers) {
    const auto stroke = typed->strokeFor(character, group);
    return stroke && stroke->key == key && stroke->modifiers == modifiers;
  };
  EXPECT_TRUE(is(U'z', kGerman, KEY_Y, {}));
  EXPECT_TRUE(is(U'Z', kGerman, KEY_Y, {KEY_LEFTSHIFT}));
  EXPECT_TRUE(is(U'ß', kGerman, KEY_MINUS, {}));
  EXPECT_TRUE(is(U'1', kGerman, KEY_1, {}));
  const auto at = typed->strokeFor(U'@', kGerman);
  ASSERT_TRUE(at);
  EXPECT_EQ(at->key, KEY_Q + 0U);
  EXPECT_EQ(at->modifiers.size(), 1U);  // a third-level key, whichever the layout has
  EXPECT_TRUE(is(U'я', kRussian, KEY_Z, {}));
  EXPECT_FALSE(typed->strokeFor(U'я', kGerman));
  EXPECT_FALSE(typed->strokeFor(U'\U0001F600', kGerman));
  EXPECT_FALSE(TypedText::read("xkb_keymap { nonsense"));
}

}  // namespace
}  // namespace tessaline::platform
