#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "base/Queue.h"
#include "platform/Display.h"
#include "platform/linux/wayland/DisplayTable.h"
#include "platform/linux/wayland/wlroots/OutputLayout.h"
#include "platform/linux/wayland/wlroots/SessionProbe.h"
#include "platform/linux/wayland/wlroots/SwayOutputs.h"
#include "platform/linux/wayland/wlroots/VirtualSeat.h"

namespace tessaline::platform {

/// What serves the desktop as a whole: the extra displays, the layout, the seat. It is made on the
/// main queue and lives on "tessaline.wayland" from `begin` on; owned by a WlrootsServer.
class WlrootsSession : public std::enable_shared_from_this<WlrootsSession> {
 public:
  struct Display {
    DisplayID id = 0;
    std::string name;  // for the log
    SwayOutputs::Wish wish;
    std::shared_ptr<std::atomic<VirtualDisplay::State>> state;
  };

  WlrootsSession(SessionProbe probe, std::shared_ptr<Queue> queue,
                 std::shared_ptr<DisplayTable> displays);

  /// `onLost` runs at most once, on the queue, with the reason.
  void begin(std::function<void(std::string reason)> onLost);
  /// Ends everything. `done` runs on the queue once no display is left, or none can be removed.
  void close(std::function<void()> done);

  void addDisplay(Display display);
  void removeDisplay(DisplayID display);

  /// The output of a display that is listed; else empty. From any thread.
  [[nodiscard]] std::string outputName(DisplayID display) const;
  /// Its `post` and `pending` are for the main queue.
  [[nodiscard]] VirtualSeat& seat() { return *seat_; }

 private:
  struct Extra {
    Display display;
    std::string output;  // once it is known
    bool listed = false;
    Timer patience;
  };

  void outputMade(DisplayID display, Result<std::string> name);
  void giveUp(DisplayID display, const std::string& reason);
  void lose(const std::string& reason);
  void updateTable();
  [[nodiscard]] Extra* extraAt(const std::string& output);
  [[nodiscard]] PixelRect extent() const;

  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<DisplayTable> displays_;
  std::unique_ptr<WaylandConnection> connection_;
  std::unique_ptr<OutputLayout> layout_;
  const std::shared_ptr<VirtualSeat> seat_;
  std::unique_ptr<SwayOutputs> outputs_;
  std::map<DisplayID, Extra> extras_;
  std::set<std::uint32_t> others_;  // outputs that are not ours
  std::function<void(std::string)> onLost_;

  mutable std::mutex mutex_;
  std::map<DisplayID, std::string> names_;  // of listed displays; guarded by mutex_
};

}  // namespace tessaline::platform
