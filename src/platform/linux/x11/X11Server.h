#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/Display.h"
#include "platform/linux/x11/DisplayDirectory.h"
#include "platform/linux/x11/OwnerMark.h"
#include "platform/linux/x11/RandrDisplay.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11HotKeys.h"
#include "platform/linux/x11/X11Input.h"
#include "platform/linux/x11/X11Pointer.h"

namespace tessaline::platform {

/// The desktop's one connection to its X server: it keeps the directory of displays and the pointer
/// up to date from events, and owns the virtual displays. It lives on a queue of its own with its
/// own thread, so that a slow answer of the X server delays nothing else; other queues hop there
/// for the rare display that comes or goes. Shared by the environment and what it made.
class X11Server {
 public:
  /// Connects and removes what earlier runs left behind. `onLost` runs once on the X11 queue when
  /// the server has gone.
  static Result<std::shared_ptr<X11Server>> open(Queues& queues, const std::string& displayName,
                                                 std::function<void()> onLost);
  ~X11Server();
  X11Server(const X11Server&) = delete;
  X11Server& operator=(const X11Server&) = delete;

  // The following are called from another queue and wait for the X11 queue.

  /// Nothing when a display of `size` could be made now; else why not.
  [[nodiscard]] std::optional<std::string> obstacle(PixelSize size);
  /// Nothing when the display exists and is listed from now on; else why not.
  [[nodiscard]] std::optional<std::string> addDisplay(DisplayID id,
                                                      const RandrDisplay::Request& request);
  void removeDisplay(DisplayID id);

  // The following are for any thread.

  [[nodiscard]] const std::string& displayName() const { return displayName_; }
  [[nodiscard]] const DisplayDirectory& directory() const { return *directory_; }
  [[nodiscard]] const std::shared_ptr<X11Pointer>& pointer() const { return pointer_; }
  [[nodiscard]] const std::shared_ptr<X11Input>& input() const { return input_; }
  [[nodiscard]] const std::shared_ptr<X11HotKeys>& hotKeys() const { return hotKeys_; }

 private:
  X11Server(std::shared_ptr<Queue> queue, std::shared_ptr<Queue> main, std::string displayName);
  std::optional<std::string> connect(std::function<void()> onLost);
  void handleEvent(const xcb_generic_event_t& event);
  void handleIdle();
  void refreshDirectory();

  const std::shared_ptr<Queue> queue_;
  const std::string displayName_;
  const std::shared_ptr<DisplayDirectory> directory_;
  const std::shared_ptr<X11Pointer> pointer_;
  const std::shared_ptr<X11Input> input_;
  const std::shared_ptr<X11HotKeys> hotKeys_;
  // The rest belongs to the X11 queue.
  std::unique_ptr<X11Connection> connection_;
  std::optional<OwnerMark> owner_;
  std::map<DisplayID, std::unique_ptr<RandrDisplay>> displays_;
  std::uint8_t randrEvent_ = 0;
  bool layoutChanged_ = true;
};

}  // namespace tessaline::platform
