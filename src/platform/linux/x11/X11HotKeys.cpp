#include "platform/linux/x11/X11HotKeys.h"

#include <X11/keysym.h>

#include <algorithm>
#include <cctype>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

constexpr std::uint16_t kModifierMask = 0xFF;  // of an event's state; the rest are buttons and such

std::string nameOf(const HotKey& hotKey) {
  return std::string(hotKey.control ? "Ctrl+" : "") + (hotKey.option ? "Alt+" : "") +
         (hotKey.command ? "Super+" : "") + hotKey.key;
}

std::uint16_t modifiersOf(const HotKey& hotKey, const KeyboardMap& map) {
  const auto either = [&](xcb_keysym_t left, xcb_keysym_t right, std::uint16_t usual) {
    for (const auto symbol : {left, right}) {
      if (const auto modifier = map.modifier(symbol)) return modifier;
    }
    return usual;
  };
  unsigned modifiers = 0;
  if (hotKey.control) modifiers |= XCB_MOD_MASK_CONTROL;
  if (hotKey.option) modifiers |= either(XK_Alt_L, XK_Alt_R, XCB_MOD_MASK_1);
  if (hotKey.command) modifiers |= either(XK_Super_L, XK_Super_R, XCB_MOD_MASK_4);
  return static_cast<std::uint16_t>(modifiers);
}

/// Every state that the lock keys can be in, none included.
std::vector<std::uint16_t> lockStates(const KeyboardMap& map) {
  std::vector<std::uint16_t> states = {0};
  const std::uint16_t locks[] = {XCB_MOD_MASK_LOCK, map.modifier(XK_Num_Lock),
                                 map.modifier(XK_Scroll_Lock)};
  for (const std::uint16_t lock : locks) {
    const std::size_t known = states.size();
    for (std::size_t i = 0; lock != 0 && i < known; ++i) {
      states.push_back(static_cast<std::uint16_t>(states[i] | lock));
    }
  }
  return states;
}

}  // namespace

/// The main queue's side of a hot key.
class X11HotKeys::Registration final : public HotKeyRegistration {
 public:
  Registration(std::shared_ptr<X11HotKeys> keys, std::shared_ptr<const Action> action)
      : keys_(std::move(keys)), action_(std::move(action)) {}
  ~Registration() override {
    keys_->queue_->async([keys = keys_, action = std::weak_ptr(action_)] { keys->remove(action); });
  }

 private:
  const std::shared_ptr<X11HotKeys> keys_;
  const std::shared_ptr<const Action> action_;
};

std::unique_ptr<HotKeyRegistration> X11HotKeys::add(const HotKey& hotKey,
                                                    std::function<void()> action) {
  auto kept = std::make_shared<const Action>(std::move(action));
  queue_->async([self = shared_from_this(), hotKey, weak = std::weak_ptr(kept)] {
    if (!self->connection_) return;
    self->entries_.push_back({hotKey, weak, {}});
    self->stale_ = true;
    self->connection_->dispatch();
  });
  return std::make_unique<Registration>(shared_from_this(), std::move(kept));
}

void X11HotKeys::remove(const std::weak_ptr<const Action>& action) {
  const auto same = [&](const Entry& entry) {
    return !entry.action.owner_before(action) && !action.owner_before(entry.action);
  };
  for (auto& entry : entries_) {
    if (same(entry)) release(entry);
  }
  entries_.remove_if(same);
}

void X11HotKeys::detach() {
  connection_ = nullptr;  // the server lets go of what a connection has grabbed
  entries_.clear();
}

void X11HotKeys::handleEvent(const xcb_generic_event_t& event) {
  switch (event.response_type & 0x7F) {
    case XCB_KEY_PRESS:
      pressed(reinterpret_cast<const xcb_key_press_event_t&>(event));
      break;
    case XCB_KEY_RELEASE:
      released_ = reinterpret_cast<const xcb_key_release_event_t&>(event).time;
      break;
    case XCB_MAPPING_NOTIFY:
      stale_ = true;
      break;
    default:
      break;
  }
}

void X11HotKeys::pressed(const xcb_key_press_event_t& event) {
  // A key that is held repeats: it is released and pressed in the same instant.
  if (event.time == released_) return;
  const Grab pressed{event.detail, static_cast<std::uint16_t>(event.state & kModifierMask)};
  for (const Entry& entry : entries_) {
    if (std::ranges::count(entry.grabs, pressed) == 0) continue;
    main_->async([weak = entry.action] {
      if (const auto action = weak.lock(); action && *action) (*action)();
    });
  }
}

void X11HotKeys::update() {
  if (!std::exchange(stale_, false) || entries_.empty() || !connection_) return;
  const KeyboardMap map = KeyboardMap::read(*connection_);
  for (Entry& entry : entries_) grab(entry, map);
}

void X11HotKeys::grab(Entry& entry, const KeyboardMap& map) {
  const auto letter = static_cast<unsigned char>(entry.hotKey.key);
  std::vector<Grab> wanted;
  for (const auto code : map.keysFor(static_cast<xcb_keysym_t>(std::tolower(letter)))) {
    for (const auto locks : lockStates(map)) {
      wanted.push_back({code, static_cast<std::uint16_t>(modifiersOf(entry.hotKey, map) | locks)});
    }
  }
  if (wanted == entry.grabs || connection_->lost()) return;
  release(entry);
  entry.grabs = std::move(wanted);
  bool held = !entry.grabs.empty();
  for (const auto& [code, modifiers] : entry.grabs) {
    held = held && connection_->succeeded(
                       xcb_grab_key_checked(connection_->get(), 0, connection_->root(), modifiers,
                                            code, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
  }
  if (held) {
    entry.refused = false;
    return;
  }
  const bool missing = entry.grabs.empty();
  release(entry);
  if (std::exchange(entry.refused, true)) return;
  log("the shortcut " + nameOf(entry.hotKey) +
      " does nothing: " + (missing ? "this keyboard has no such key" : "another program holds it"));
}

void X11HotKeys::release(Entry& entry) {
  if (!connection_) return;
  for (const auto& [code, modifiers] : entry.grabs) {
    xcb_ungrab_key(connection_->get(), code, connection_->root(), modifiers);
  }
  entry.grabs.clear();
  connection_->flush();
}

}  // namespace tessaline::platform
