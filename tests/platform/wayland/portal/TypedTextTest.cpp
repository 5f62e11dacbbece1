#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdlib>

#include "platform/linux/wayland/portal/TypedText.h"

namespace tessaline::platform {
namespace {

/// The text of a layout, as a compositor hands it out.
std::string layoutText(const char* layouts) {
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const xkb_rule_names names = {"evdev", "pc105", layouts, "", ""};
  xkb_keymap* const keymap =
      xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  std::string text;
  if (char* const all =
          keymap ? xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1) : nullptr) {
    text = all;
    std::free(all);
  }
  if (keymap) xkb_keymap_unref(keymap);
  xkb_context_unref(context);
  return text;
}

TEST(TypedText, FindsTheKeysOfALayout) {
  const std::string text = layoutText("de,ru");
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
