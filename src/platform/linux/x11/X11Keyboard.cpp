#include "platform/linux/x11/X11Keyboard.h"

#include <X11/keysym.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon.h>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

constexpr std::uint16_t kLockMask = XCB_MOD_MASK_LOCK;
constexpr int kGroupShift = 13;  // of the layout in a key event's state
constexpr int kGroupMask = 3;

constexpr struct {
  std::uint16_t virtualKey;
  xcb_keysym_t symbol;
} kNamedKeys[] = {
    {VirtualKey::kReturn, XK_Return},       {VirtualKey::kTab, XK_Tab},
    {VirtualKey::kBackspace, XK_BackSpace}, {VirtualKey::kEscape, XK_Escape},
    {VirtualKey::kLeft, XK_Left},           {VirtualKey::kRight, XK_Right},
    {VirtualKey::kDown, XK_Down},           {VirtualKey::kUp, XK_Up},
};

/// Whether programs make a capital letter of it when Caps Lock is on, of which X servers, and so
/// the key, know nothing.
bool capitalOnlyInPrograms(xcb_keysym_t symbol) {
  return xkb_keysym_to_upper(symbol) != symbol && capitalLetter(symbol) == symbol;
}

}  // namespace

X11Keyboard::~X11Keyboard() {
  while (!down_.empty()) fake(*down_.begin(), false);
}

void X11Keyboard::refresh() {
  if (!std::exchange(stale_, false)) return;
  map_ = KeyboardMap::read(connection_);
  spare_.follow(map_);
}

void X11Keyboard::prepare() {
  refresh();
  xcb_connection_t* c = connection_.get();
  const auto pointerCookie = xcb_query_pointer(c, connection_.root());
  const auto keysCookie = xcb_query_keymap(c);
  const Reply<xcb_query_pointer_reply_t> pointer(
      xcb_query_pointer_reply(c, pointerCookie, nullptr));
  const Reply<xcb_query_keymap_reply_t> keys(xcb_query_keymap_reply(c, keysCookie, nullptr));
  if (!pointer || !keys) return;
  capsLock_ = (pointer->mask & kLockMask) != 0;
  group_ = (pointer->mask >> kGroupShift) & kGroupMask;
  for (const xcb_keycode_t code : map_.modifierKeys()) {
    const bool held = (keys->keys[code / 8] & (1U << (code % 8))) != 0;
    if (held && !down_.contains(code)) fake(code, false);
  }
}

std::optional<Duration> X11Keyboard::type(char32_t character, Clock::time_point now) {
  xcb_keysym_t symbol = XCB_NO_SYMBOL;
  if (character == U'\n') {
    symbol = XK_Return;
  } else if (character == U'\t') {
    symbol = XK_Tab;
  } else if (character < U' ' || (character >= 0x7F && character < 0xA0)) {
    return std::nullopt;  // no key types the other control characters
  } else if (const auto key = map_.typing(character, group_, capsLock_);
             key && !spare_.lends(key->code)) {
    pressLetter(*key, xkb_utf32_to_keysym(character));
    return std::nullopt;
  }
  if (symbol != XCB_NO_SYMBOL) {
    press(keyFor(symbol), false);
    return std::nullopt;
  }
  symbol = xkb_utf32_to_keysym(character);
  const auto answer = spare_.keyFor(symbol, map_, capsLock_, now);
  if (answer.key) {
    pressLetter(*answer.key, symbol);
  } else if (answer.wait != Duration::zero()) {
    return answer.wait;
  } else if (!std::exchange(saidNoKeys_, true)) {
    log("X11: this keyboard has no key to spare: characters that it lacks are not typed");
  }
  return std::nullopt;
}

void X11Keyboard::hold(std::uint16_t virtualKey, bool down) {
  for (const auto& named : kNamedKeys) {
    if (named.virtualKey == virtualKey) fake(keyFor(named.symbol), down);
  }
}

void X11Keyboard::shortcut(Shortcut shortcut) {
  const char32_t character = shortcut == Shortcut::zoomIn ? U'+' : U'-';
  const auto key = map_.typing(character, group_, capsLock_);
  // A layout without these has them in its first group, or on the keypad.
  const xcb_keysym_t keypad = shortcut == Shortcut::zoomIn ? XK_KP_Add : XK_KP_Subtract;
  const xcb_keycode_t control = keyFor(XK_Control_L);
  fake(control, true);
  press(key ? key->code : keyFor(keypad), key && key->shift);
  fake(control, false);
}

void X11Keyboard::pressLetter(const KeyboardMap::Key& key, xcb_keysym_t symbol) {
  const bool unlock = capsLock_ && capitalOnlyInPrograms(symbol);
  const xcb_keycode_t lock = unlock ? keyFor(XK_Caps_Lock) : xcb_keycode_t{0};
  press(lock, false);
  press(key.code, key.shift);
  press(lock, false);
}

void X11Keyboard::press(xcb_keycode_t code, bool shift) {
  const xcb_keycode_t shiftKey = shift ? keyFor(XK_Shift_L) : xcb_keycode_t{0};
  fake(shiftKey, true);
  fake(code, true);
  fake(code, false);
  fake(shiftKey, false);
}

void X11Keyboard::fake(xcb_keycode_t code, bool down) {
  if (code == 0) return;
  if (down) {
    down_.insert(code);
  } else {
    down_.erase(code);
  }
  xcb_test_fake_input(connection_.get(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code,
                      XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

xcb_keycode_t X11Keyboard::keyFor(xcb_keysym_t symbol) const {
  const auto keys = map_.keysFor(symbol);
  return keys.empty() ? xcb_keycode_t{0} : keys.front();
}

}  // namespace tessaline::platform
