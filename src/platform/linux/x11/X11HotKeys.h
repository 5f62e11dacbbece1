#pragma once

#include <xcb/xcb.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/HotKey.h"
#include "platform/linux/x11/KeyboardMap.h"

namespace tessaline::platform {

/// Keys that the X server gives to this process whatever has the focus: passive grabs on the root
/// window, one for each state of the lock keys. `add` is for the main queue; the rest lives on the
/// X11 queue and belongs to X11Server, which calls `detach` before its connection goes.
class X11HotKeys : public std::enable_shared_from_this<X11HotKeys> {
 public:
  X11HotKeys(std::shared_ptr<Queue> queue, std::shared_ptr<Queue> main)
      : queue_(std::move(queue)), main_(std::move(main)) {}

  [[nodiscard]] std::unique_ptr<HotKeyRegistration> add(const HotKey& hotKey,
                                                        std::function<void()> action);

  void attach(X11Connection& connection) { connection_ = &connection; }
  void detach();
  void handleEvent(const xcb_generic_event_t& event);
  /// Grabs anew what a change of the keyboard has moved.
  void update();

 private:
  using Action = std::function<void()>;
  struct Grab {
    xcb_keycode_t code = 0;
    std::uint16_t modifiers = 0;
    bool operator==(const Grab&) const = default;
  };
  struct Entry {
    HotKey hotKey;
    std::weak_ptr<const Action> action;  // the registration's
    std::vector<Grab> grabs;
    bool refused = false;
  };
  class Registration;

  void remove(const std::weak_ptr<const Action>& action);
  void grab(Entry& entry, const KeyboardMap& map);
  void release(Entry& entry);
  void pressed(const xcb_key_press_event_t& event);

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<Queue> main_;
  // The rest belongs to the X11 queue.
  X11Connection* connection_ = nullptr;  // null while detached
  std::list<Entry> entries_;
  bool stale_ = false;
  xcb_timestamp_t released_ = 0;
};

}  // namespace tessaline::platform
