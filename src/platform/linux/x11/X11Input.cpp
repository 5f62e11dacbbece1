#include "platform/linux/x11/X11Input.h"

#include <xcb/xtest.h>

#include <algorithm>

#include "base/Log.h"
#include "base/Utf8.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

// Some programs need a millisecond for each key; a server drops those whose events pile up.
constexpr std::size_t kCharactersInOneGo = 16;
constexpr auto kBetweenGoes = 8ms;
constexpr auto kLendingTime = 3s;  // keys keep their borrowed meanings for more of the same text

/// The characters of valid UTF-8, with every kind of line end as one.
std::u32string charactersOf(const std::string& text) {
  std::u32string characters;
  for (const char32_t c : decodeUtf8(text)) {
    if (c == U'\n' && !characters.empty() && characters.back() == U'\r') characters.pop_back();
    characters += c;
  }
  std::ranges::replace(characters, U'\r', U'\n');
  return characters;
}

}  // namespace

void X11Input::attach(X11Connection& connection) {
  xcb_connection_t* c = connection.get();
  const auto* extension = xcb_get_extension_data(c, &xcb_test_id);
  if (!extension || !extension->present) {
    log("X11: the server lacks the XTEST extension; touches and typing of devices do nothing");
    return;
  }
  xcb_test_grab_control(c, 1);  // another program's server grab holds nothing up here
  connection_ = &connection;
  keyboard_.emplace(connection);
  mouse_.emplace(connection);
  usable_ = true;
}

void X11Input::detach() {
  usable_ = false;
  pause_.cancel();
  settling_.cancel();
  actions_.clear();
  keyboard_.reset();
  mouse_.reset();
  if (connection_) {
    // A server forgets the requests that it has not read when it cannot tell of a change.
    xcb_connection_t* c = connection_->get();
    const Reply<xcb_get_input_focus_reply_t> allDone(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  }
  connection_ = nullptr;
}

void X11Input::handleEvent(const xcb_generic_event_t& event) {
  if ((event.response_type & 0x7F) != XCB_MAPPING_NOTIFY || !connection_) return;
  const auto& notice = reinterpret_cast<const xcb_mapping_notify_event_t&>(event);
  if (notice.request == XCB_MAPPING_POINTER) {
    mouse_->mappingChanged();
  } else {
    keyboard_->mappingChanged();
  }
}

bool X11Input::trusted(bool /*ask*/) {
  return usable_;  // X11 leaves nothing to ask
}

void X11Input::postMove(PointerLocation to) {
  post(Move{to});
}

void X11Input::postButton(MouseButton button, bool down, PointerLocation at, int clickState) {
  post(Button{button, down, at, clickState});
}

void X11Input::postScroll(std::int32_t dx, std::int32_t dy) {
  post(Scroll{dx, dy});
}

void X11Input::postKey(std::uint16_t virtualKey, bool down) {
  post(Key{virtualKey, down});
}

void X11Input::postShortcut(Shortcut shortcut) {
  post(shortcut);
}

void X11Input::postText(std::string text) {
  Text action{charactersOf(text)};
  const std::size_t characters = action.characters.size();
  if (characters > 0) post(std::move(action), characters);
}

void X11Input::post(Action action, std::size_t weight) {
  pending_ += weight;
  queue_->async([weak = weak_from_this(), action = std::move(action)]() mutable {
    const auto self = weak.lock();
    if (!self || !self->connection_) return;
    self->actions_.push_back(std::move(action));
    if (!self->waiting_) self->work();
  });
}

void X11Input::work() {
  waiting_ = false;
  while (!actions_.empty()) {
    const auto wait =
        std::visit([this](auto& action) { return perform(action); }, actions_.front());
    if (!connection_) return;
    if (wait) {
      waiting_ = true;
      pause_ = queue_->after(*wait, [weak = weak_from_this()] {
        if (const auto self = weak.lock(); self && self->connection_) self->work();
      });
      break;
    }
    actions_.pop_front();
  }
  if (keyboard_->lendsKeys()) {
    settling_ = queue_->after(kLendingTime, [weak = weak_from_this()] {
      const auto self = weak.lock();
      if (self && self->keyboard_ && self->actions_.empty()) self->keyboard_->settle();
    });
  }
  connection_->flush();
  pending_ -= std::exchange(finished_, 0);  // not before the server has it all
  connection_->dispatch();
}

std::optional<Duration> X11Input::perform(Move& move) {
  pointer_->moveTo(move.to);
  ++finished_;
  return std::nullopt;
}

std::optional<Duration> X11Input::perform(Button& button) {
  mouse_->button(button.button, button.down, button.at, button.clickState, queue_->now());
  ++finished_;
  return std::nullopt;
}

std::optional<Duration> X11Input::perform(Scroll& scroll) {
  mouse_->scroll(scroll.dx, scroll.dy);
  ++finished_;
  return std::nullopt;
}

std::optional<Duration> X11Input::perform(Key& key) {
  keyboard_->prepare();
  keyboard_->hold(key.virtualKey, key.down);
  ++finished_;
  return std::nullopt;
}

std::optional<Duration> X11Input::perform(Shortcut& shortcut) {
  keyboard_->prepare();
  keyboard_->shortcut(shortcut);
  ++finished_;
  return std::nullopt;
}

std::optional<Duration> X11Input::perform(Text& text) {
  keyboard_->prepare();
  for (std::size_t i = 0; i < kCharactersInOneGo && text.typed < text.characters.size(); ++i) {
    if (const auto wait = keyboard_->type(text.characters[text.typed], queue_->now())) return wait;
    ++text.typed;
    ++finished_;
  }
  return text.typed < text.characters.size() ? std::optional<Duration>(kBetweenGoes) : std::nullopt;
}

}  // namespace tessaline::platform
