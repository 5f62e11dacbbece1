#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/SeatDevices.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/mutter/MutterBus.h"
#include "platform/linux/wayland/mutter/MutterSession.h"
#include "platform/linux/wayland/mutter/MutterTyping.h"

namespace tessaline::platform {

/// SeatDevices of Mutter's remote-desktop sessions: pointer and touches go to the session of the
/// display that the place is on, keys to the oldest one. What waits for a text, or for a touch that
/// has just begun, stands in line. Main queue, owned by the desktop.
class MutterDevices final : public SeatDevices {
 public:
  MutterDevices(Queues& queues, MutterBus& bus, std::shared_ptr<const DisplayTable> displays,
                std::shared_ptr<WaylandPointer> pointer);

  /// The display of `session` is there. Its devices are touched once, as programs learn of a device
  /// by its first event, which they do not get.
  void add(const MutterSession& session);
  /// Releases what is held with its devices.
  void remove(const MutterSession& session);

  [[nodiscard]] bool usable() const override { return !sessions_.empty(); }
  [[nodiscard]] bool hasTouch() const override { return true; }
  void move(PointerLocation to) override;
  void button(std::uint32_t code, bool down) override;
  void scroll(double dx, double dy) override;
  void touchDown(std::uint32_t slot, PointerLocation at) override;
  void touchUp(std::uint32_t slot) override;
  void key(std::uint32_t code, bool down) override;
  void type(const std::string& text) override;
  [[nodiscard]] std::size_t pending() const override;

 private:
  /// Something held down, and with whose device.
  struct Held {
    const MutterSession* session;
    std::function<void()> release;
  };
  struct Target {
    const MutterSession* session;
    double x, y;  // from the display's corner, in the units of its bounds: Mutter wants no pixels
  };

  void post(std::function<void()> action);
  void work();
  void pauseTouch(bool again);
  /// The touch that has begun is long enough to end.
  void touched();
  [[nodiscard]] std::optional<Target> target(PointerLocation at) const;
  [[nodiscard]] const MutterSession* keyboard() const;
  template <typename... Arguments>
  void notify(const MutterSession* session, const char* method, Arguments... arguments);
  void hold(const std::string& what, const MutterSession* session, bool down, const char* method,
            std::uint32_t code);
  void drop(const MutterSession& session, bool tell);

  Queues& queues_;
  MutterBus& bus_;
  const std::shared_ptr<const DisplayTable> displays_;
  const std::shared_ptr<WaylandPointer> pointer_;
  std::vector<const MutterSession*> sessions_;  // the oldest first
  std::map<std::string, Held> held_;
  std::map<std::uint32_t, const MutterSession*> touches_;  // by slot
  std::optional<DisplayID> pointerOn_;
  std::deque<std::function<void()>> line_;  // behind the text that is being typed
  std::unique_ptr<MutterTyping> typing_;
  const MutterSession* typingOn_ = nullptr;
  bool typingNow_ = false;                     // a text: the line waits
  const MutterSession* touchingOn_ = nullptr;  // a touch has just begun there: the line waits
  Timer touching_;
  std::size_t waitingCharacters_ = 0;
  std::size_t inFlight_ = 0;  // events that Mutter has not answered
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace tessaline::platform
