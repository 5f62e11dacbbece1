#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "base/Queue.h"
#include "platform/InputEvents.h"
#include "platform/linux/x11/X11Keyboard.h"
#include "platform/linux/x11/X11Mouse.h"
#include "platform/linux/x11/X11Pointer.h"

namespace tessaline::platform {

/// Input events over XTEST. The InputEvents side is for the main queue; the rest lives on the X11
/// queue and belongs to X11Server, which calls `detach` before its connection goes. What is posted
/// waits in line there while a key settles, so that a tap never overtakes the text before it.
class X11Input final : public InputEvents, public std::enable_shared_from_this<X11Input> {
 public:
  X11Input(std::shared_ptr<Queue> queue, std::shared_ptr<X11Pointer> pointer)
      : queue_(std::move(queue)), pointer_(std::move(pointer)) {}

  /// Does nothing but say so when the server cannot.
  void attach(X11Connection& connection);
  void detach();
  void handleEvent(const xcb_generic_event_t& event);

  [[nodiscard]] bool trusted(bool ask) override;
  [[nodiscard]] bool postTap(PointerLocation /*at*/, int /*tapState*/) override {
    return false;  // XTEST has no touches
  }
  void postMove(PointerLocation to) override;
  void postButton(MouseButton button, bool down, PointerLocation at, int clickState) override;
  void postScroll(std::int32_t dx, std::int32_t dy) override;
  void postKey(std::uint16_t virtualKey, bool down) override;
  void postShortcut(Shortcut shortcut) override;
  void postText(std::string text) override;
  [[nodiscard]] std::size_t pending() const override { return pending_; }

 private:
  struct Move {
    PointerLocation to;
  };
  struct Button {
    MouseButton button;
    bool down;
    PointerLocation at;
    int clickState;
  };
  struct Scroll {
    std::int32_t dx, dy;
  };
  struct Key {
    std::uint16_t virtualKey;
    bool down;
  };
  struct Text {
    std::u32string characters;
    std::size_t typed = 0;
  };
  using Action = std::variant<Move, Button, Scroll, Key, Shortcut, Text>;

  void post(Action action, std::size_t weight = 1);
  void work();
  // Each answers how long to wait before it is called again, or nothing when it is done.
  std::optional<Duration> perform(Move& move);
  std::optional<Duration> perform(Button& button);
  std::optional<Duration> perform(Scroll& scroll);
  std::optional<Duration> perform(Key& key);
  std::optional<Duration> perform(Shortcut& shortcut);
  std::optional<Duration> perform(Text& text);

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<X11Pointer> pointer_;
  std::atomic<bool> usable_ = false;
  std::atomic<std::size_t> pending_ = 0;
  // The rest belongs to the X11 queue.
  X11Connection* connection_ = nullptr;  // null while detached
  std::optional<X11Keyboard> keyboard_;
  std::optional<X11Mouse> mouse_;
  std::deque<Action> actions_;
  std::size_t finished_ = 0;  // no longer waiting, but perhaps not sent yet
  bool waiting_ = false;      // the action in front asked for a pause
  Timer pause_;
  Timer settling_;
};

}  // namespace tessaline::platform
