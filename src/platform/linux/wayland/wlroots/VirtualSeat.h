#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "base/Queue.h"
#include "platform/PointerSource.h"
#include "platform/linux/wayland/wlroots/TypingKeymap.h"
#include "platform/linux/wayland/wlroots/WaylandConnection.h"

namespace tessaline::platform {

/// A pointer and a keyboard of our own at the compositor's seat. What is posted happens in its
/// order, as fast as the compositor reads; text may wait for a keymap that has its characters.
/// Lives on the connection's queue; `post` and `pending` may be called from one other.
class VirtualSeat : public std::enable_shared_from_this<VirtualSeat> {
 public:
  struct Move {
    PointerLocation to;  // points of the layout
  };
  struct Button {
    std::uint32_t code = 0;
    bool down = false;
  };
  struct Scroll {
    double dx = 0;
    double dy = 0;
  };
  struct Key {
    std::uint32_t code = 0;
    bool down = false;
  };
  struct Text {
    std::u32string characters;
    std::size_t next = 0;
  };
  using Event = std::variant<Move, Button, Scroll, Key, Text>;
  /// What absolute places are measured in: the smallest rectangle around all outputs.
  using Extent = std::function<PixelRect()>;

  /// The connection outlives its use, which ends with `close`.
  VirtualSeat(WaylandConnection& connection, std::shared_ptr<Queue> queue, Extent extent);

  /// From any thread.
  void post(Event event);
  /// Events and characters that still wait.
  [[nodiscard]] std::size_t pending() const { return pending_; }

  /// Makes the devices, so that programs know of them before the first event.
  void attach();
  /// Releases what is held and takes the devices away; what still waits is dropped.
  void detach();
  /// Goes on where the compositor was too slow.
  void resume();
  void close();

 private:
  /// Carries out what waits until that has to wait for something.
  void run();
  /// False when the event has to wait; it stays the first then.
  bool play(Event& event);
  void play(const Move& move);
  void play(const Button& button);
  void play(const Scroll& scroll);
  void play(const Key& key);
  bool play(Text& text);
  void type(TypingKeymap::Stroke stroke);
  /// Makes room on the keyboard for what comes next in `text`. False when it is too early.
  bool prepareKeys(const Text& text);
  void uploadKeymap();
  void sendModifiers(std::uint32_t mask);
  [[nodiscard]] std::uint32_t heldModifiers() const;
  [[nodiscard]] std::uint32_t time() const;

  WaylandConnection* connection_;
  const std::shared_ptr<Queue> queue_;
  const Extent extent_;
  Proxy<wl_seat> seat_;
  Proxy<zwlr_virtual_pointer_manager_v1> pointers_;
  Proxy<zwp_virtual_keyboard_manager_v1> keyboards_;
  Proxy<zwlr_virtual_pointer_v1> pointer_;
  Proxy<zwp_virtual_keyboard_v1> keyboard_;
  TypingKeymap keymap_;
  Clock::time_point nextKeymap_;  // when a new one may be sent
  std::deque<Event> events_;
  std::set<std::uint32_t> buttons_;  // held now
  std::set<std::uint32_t> keys_;     // held now
  Timer timer_;
  std::atomic<std::size_t> pending_ = 0;
};

}  // namespace tessaline::platform
