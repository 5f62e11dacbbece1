#include "platform/linux/wayland/WaylandInput.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <utility>

namespace tessaline::platform {
namespace {

constexpr std::uint32_t kSlot = 0;  // one finger at a time

constexpr struct {
  std::uint16_t virtualKey;
  std::uint32_t code;
} kKeys[] = {
    {VirtualKey::kReturn, KEY_ENTER},        {VirtualKey::kTab, KEY_TAB},
    {VirtualKey::kBackspace, KEY_BACKSPACE}, {VirtualKey::kEscape, KEY_ESC},
    {VirtualKey::kLeft, KEY_LEFT},           {VirtualKey::kRight, KEY_RIGHT},
    {VirtualKey::kDown, KEY_DOWN},           {VirtualKey::kUp, KEY_UP},
};

bool isControl(const std::string& text, std::size_t i) {
  const auto byte = static_cast<unsigned char>(text[i]);
  if (byte < 0x20 || byte == 0x7F) return true;
  // U+0080 to U+009F are two bytes, of which the second has no meaning alone.
  return byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
}

}  // namespace

WaylandInput::WaylandInput(std::shared_ptr<Queue> main, SeatDevices& devices)
    : main_(std::move(main)), devices_(devices) {}

WaylandInput::~WaylandInput() {
  while (!buttons_.empty()) hold(buttons_, *buttons_.begin(), false);
  while (!keys_.empty()) hold(keys_, *keys_.begin(), false);
}

bool WaylandInput::trusted(bool /*ask*/) {
  return devices_.usable();
}

bool WaylandInput::postTap(PointerLocation at, int tapState) {
  if (!devices_.usable() || !devices_.hasTouch()) return false;
  if (taps_.countedAlready(kSlot, at, tapState, main_->now())) return true;
  devices_.touchDown(kSlot, at);
  devices_.touchUp(kSlot);
  return true;
}

void WaylandInput::postMove(PointerLocation to) {
  devices_.move(to);
}

void WaylandInput::postButton(MouseButton button, bool down, PointerLocation at, int clickState) {
  const std::uint32_t code = button == MouseButton::left ? BTN_LEFT : BTN_RIGHT;
  if (down && clicks_.countedAlready(code, at, clickState, main_->now())) return;
  if (!down && !buttons_.contains(code)) return;  // its press was left out
  devices_.move(at);
  hold(buttons_, code, down);
}

void WaylandInput::postScroll(std::int32_t dx, std::int32_t dy) {
  devices_.scroll(-static_cast<double>(dx), -static_cast<double>(dy));
}

void WaylandInput::postKey(std::uint16_t virtualKey, bool down) {
  for (const auto& key : kKeys) {
    if (key.virtualKey == virtualKey) hold(keys_, key.code, down);
  }
}

void WaylandInput::postShortcut(Shortcut shortcut) {
  devices_.key(KEY_LEFTCTRL, true);
  press(shortcut == Shortcut::zoomIn ? KEY_KPPLUS : KEY_KPMINUS);
  devices_.key(KEY_LEFTCTRL, false);
}

void WaylandInput::postText(std::string text) {
  std::string plain;
  const auto typePlain = [&] {
    if (!plain.empty()) devices_.type(std::exchange(plain, {}));
  };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isControl(text, i)) {
      plain += text[i];
      continue;
    }
    const char c = text[i];
    if (static_cast<unsigned char>(c) >= 0x80) ++i;
    if (c != '\n' && c != '\r' && c != '\t') continue;
    if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    typePlain();
    press(c == '\t' ? KEY_TAB : KEY_ENTER);
  }
  typePlain();
}

void WaylandInput::hold(std::set<std::uint32_t>& held, std::uint32_t code, bool down) {
  if (down) {
    held.insert(code);
  } else {
    held.erase(code);
  }
  if (&held == &buttons_) {
    devices_.button(code, down);
  } else {
    devices_.key(code, down);
  }
}

void WaylandInput::press(std::uint32_t key) {
  devices_.key(key, true);
  devices_.key(key, false);
}

}  // namespace tessaline::platform
