#include "platform/linux/x11/KeyboardMap.h"

#include <X11/keysym.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>

namespace tessaline::platform {
namespace {

constexpr int kModifiers = 8;
constexpr int kLockModifier = 1;
constexpr xcb_keysym_t kFirstKeypad = XK_KP_Space;
constexpr xcb_keysym_t kLastKeypad = XK_KP_9;

/// The number keypad's keys change with Num Lock; the same characters are elsewhere too.
bool isKeypad(xcb_keysym_t symbol) {
  return (symbol >= kFirstKeypad && symbol <= kLastKeypad) || symbol == XK_KP_Equal;
}

}  // namespace

KeyboardMap KeyboardMap::read(const X11Connection& connection) {
  KeyboardMap map;
  xcb_connection_t* c = connection.get();
  const xcb_setup_t* setup = xcb_get_setup(c);
  if (connection.lost()) return map;
  map.first_ = setup->min_keycode;
  const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  const auto cookie = xcb_get_keyboard_mapping(c, map.first_, count);
  const Reply<xcb_get_keyboard_mapping_reply_t> reply(
      xcb_get_keyboard_mapping_reply(c, cookie, nullptr));
  if (!reply) return map;
  map.symbolsPerKey_ = reply->keysyms_per_keycode;
  const auto* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
  map.symbols_.assign(symbols, symbols + xcb_get_keyboard_mapping_keysyms_length(reply.get()));
  map.readModifiers(connection);
  return map;
}

void KeyboardMap::readModifiers(const X11Connection& connection) {
  xcb_connection_t* c = connection.get();
  const Reply<xcb_get_modifier_mapping_reply_t> reply(
      xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
  if (!reply) return;
  const auto* codes = xcb_get_modifier_mapping_keycodes(reply.get());
  const int perModifier = reply->keycodes_per_modifier;
  modifiers_.resize(kModifiers);
  for (int modifier = 0; modifier < kModifiers; ++modifier) {
    for (int i = 0; i < perModifier; ++i) {
      const xcb_keycode_t code = codes[modifier * perModifier + i];
      if (code == 0) continue;
      modifiers_[static_cast<std::size_t>(modifier)].push_back(code);
      const bool locks = modifier == kLockModifier || symbol(code, 0) == XK_Num_Lock ||
                         symbol(code, 0) == XK_Scroll_Lock;
      if (!locks) modifierKeys_.push_back(code);
    }
  }
}

xcb_keysym_t KeyboardMap::symbol(xcb_keycode_t code, int level) const {
  if (code < first_ || level >= symbolsPerKey_) return XCB_NO_SYMBOL;
  const auto index = static_cast<std::size_t>((code - first_) * symbolsPerKey_ + level);
  return index < symbols_.size() ? symbols_[index] : XCB_NO_SYMBOL;
}

std::optional<KeyboardMap::Key> KeyboardMap::typing(char32_t character, int group,
                                                    bool capsLock) const {
  if (group > 1 || symbolsPerKey_ == 0) return std::nullopt;
  const std::size_t keys = symbols_.size() / static_cast<std::size_t>(symbolsPerKey_);
  for (std::size_t i = 0; i < keys; ++i) {
    const auto code = static_cast<xcb_keycode_t>(first_ + i);
    const xcb_keysym_t plain = symbol(code, 2 * group);
    const xcb_keysym_t shifted = symbol(code, 2 * group + 1);
    if (plain == XCB_NO_SYMBOL || isKeypad(plain)) continue;
    const bool letter = plain != shifted && xkb_keysym_to_upper(plain) == shifted;
    const bool flipped = letter && capsLock;
    if (xkb_keysym_to_utf32(plain) == character) return Key{code, flipped};
    if (xkb_keysym_to_utf32(shifted) == character) return Key{code, !flipped};
  }
  return std::nullopt;
}

std::vector<xcb_keycode_t> KeyboardMap::keysFor(xcb_keysym_t wanted) const {
  std::vector<xcb_keycode_t> codes;
  for (std::size_t i = 0; i < symbols_.size(); ++i) {
    const int level = static_cast<int>(i % static_cast<std::size_t>(symbolsPerKey_));
    if (symbols_[i] != wanted || (level != 0 && level != 2)) continue;
    const auto code =
        static_cast<xcb_keycode_t>(first_ + i / static_cast<std::size_t>(symbolsPerKey_));
    if (codes.empty() || codes.back() != code) codes.push_back(code);
  }
  return codes;
}

std::vector<xcb_keycode_t> KeyboardMap::unused() const {
  std::vector<xcb_keycode_t> codes;
  if (symbolsPerKey_ == 0) return codes;
  const auto width = static_cast<std::size_t>(symbolsPerKey_);
  for (std::size_t i = 0; i + width <= symbols_.size(); i += width) {
    const auto begin = symbols_.begin() + static_cast<std::ptrdiff_t>(i);
    const auto code = static_cast<xcb_keycode_t>(first_ + i / width);
    const bool modifies = std::ranges::any_of(
        modifiers_, [&](const auto& keys) { return std::ranges::count(keys, code) > 0; });
    if (!modifies && std::all_of(begin, begin + symbolsPerKey_,
                                 [](auto symbol) { return symbol == XCB_NO_SYMBOL; })) {
      codes.push_back(code);
    }
  }
  return codes;
}

std::uint16_t KeyboardMap::modifier(xcb_keysym_t wanted) const {
  for (std::size_t i = 0; i < modifiers_.size(); ++i) {
    for (const xcb_keycode_t code : modifiers_[i]) {
      if (symbol(code, 0) == wanted) return static_cast<std::uint16_t>(1U << i);
    }
  }
  return 0;
}

}  // namespace tessaline::platform
