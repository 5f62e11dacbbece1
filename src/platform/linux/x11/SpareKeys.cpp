#include "platform/linux/x11/SpareKeys.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kSettling = 20ms;  // in which programs ask what a key means now
constexpr auto kKept = 200ms;     // in which a busy program gets to a key press
constexpr int kMeanings = 4;      // plain, Shift, and both in the second layout

constexpr xcb_keysym_t kFirstUnicode = 0x0100'0000;  // from here on X servers know no letters

xcb_keysym_t smallLetter(xcb_keysym_t symbol) {
  const xcb_keysym_t small = xkb_keysym_to_lower(symbol);
  return capitalLetter(small) == symbol ? small : symbol;
}

}  // namespace

xcb_keysym_t capitalLetter(xcb_keysym_t symbol) {
  const xcb_keysym_t capital = xkb_keysym_to_upper(symbol);
  // Of some (the German sharp s) xkbcommon makes what is no letter at all.
  const bool pair = xkb_keysym_to_lower(capital) == symbol;
  return symbol < kFirstUnicode && capital < kFirstUnicode && pair ? capital : symbol;
}

SpareKeys::Answer SpareKeys::keyFor(xcb_keysym_t symbol, const KeyboardMap& map, bool capsLock,
                                    Clock::time_point now) {
  // Caps Lock makes programs turn a small letter into a capital one where the key has no capital
  // letter; a key with both is as good as any letter's.
  const xcb_keysym_t small = smallLetter(symbol);
  const bool letter = small != capitalLetter(small);
  const auto known = std::ranges::find(keys_, small, &Key::symbol);
  if (known != keys_.end()) {
    if (now < known->mapped + kSettling) return {std::nullopt, known->mapped + kSettling - now};
    known->pressed = now;
    return {KeyboardMap::Key{known->code, letter && (symbol != small) != capsLock}, {}};
  }
  const auto unused = map.unused();
  const auto fresh =
      std::ranges::find_if_not(unused, [this](xcb_keycode_t code) { return lends(code); });
  if (fresh != unused.end()) {
    assign(keys_.emplace_back(Key{*fresh, XCB_NO_SYMBOL, now, now}), small, now);
    return {std::nullopt, kSettling};
  }
  const auto oldest = std::ranges::min_element(keys_, {}, &Key::pressed);
  if (oldest == keys_.end()) return {};
  if (now < oldest->pressed + kKept) return {std::nullopt, oldest->pressed + kKept - now};
  assign(*oldest, small, now);
  return {std::nullopt, kSettling};
}

void SpareKeys::assign(Key& key, xcb_keysym_t symbol, Clock::time_point now) {
  key.symbol = symbol;
  key.mapped = now;
  key.pressed = now;
  change(key.code, symbol, capitalLetter(symbol));
}

void SpareKeys::change(xcb_keycode_t code, xcb_keysym_t plain, xcb_keysym_t shifted) const {
  const std::array<xcb_keysym_t, kMeanings> symbols = {plain, shifted, plain, shifted};
  xcb_change_keyboard_mapping(connection_.get(), 1, code, kMeanings, symbols.data());
}

void SpareKeys::follow(const KeyboardMap& map) {
  std::erase_if(keys_, [&](const Key& key) { return map.symbol(key.code, 0) != key.symbol; });
}

bool SpareKeys::lends(xcb_keycode_t code) const {
  return std::ranges::count(keys_, code, &Key::code) > 0;
}

void SpareKeys::clear() {
  for (const Key& key : keys_) change(key.code, XCB_NO_SYMBOL, XCB_NO_SYMBOL);
  keys_.clear();
  connection_.flush();
}

}  // namespace tessaline::platform
