#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/Display.h"
#include "platform/linux/wayland/WaylandPointer.h"
#include "platform/linux/wayland/mutter/MutterBus.h"
#include "platform/linux/wayland/screencast/ScreenCast.h"

namespace tessaline::platform {

/// One virtual monitor of Mutter's: a remote-desktop session with a screen-cast session, and the
/// consumer of its pictures, without whom there is no monitor. Its end stops both. Main queue,
/// owned by its display; the bus outlives it.
class MutterSession {
 public:
  struct Callbacks {
    /// The size of the monitor is agreed on: it is about to appear, or to have another mode.
    std::function<void(PixelSize)> onSize;
    /// It is over, for the reason given; nothing follows. May destroy the session.
    std::function<void(std::string reason)> onEnded;
  };

  MutterSession(Queues& queues, MutterBus& bus, DisplayID display, PixelSize size,
                int framesPerSecond, std::shared_ptr<WaylandPointer> pointer, Callbacks callbacks);
  ~MutterSession();
  MutterSession(const MutterSession&) = delete;
  MutterSession& operator=(const MutterSession&) = delete;

  /// Asks for the sessions; what comes of it, the callbacks tell.
  void start();

  [[nodiscard]] DisplayID display() const { return display_; }
  /// The remote-desktop session, which input goes to; null while there is none.
  [[nodiscard]] sdbus::IProxy* remote() const { return running_ ? remote_.get() : nullptr; }
  [[nodiscard]] const std::string& remotePath() const { return remotePath_; }
  /// What the session knows the monitor as.
  [[nodiscard]] const std::string& streamPath() const { return streamPath_; }
  /// Null while there are no pictures.
  [[nodiscard]] ScreenCast* cast() const { return cast_.get(); }

 private:
  using Options = std::map<std::string, sdbus::Variant>;

  void gotRemote(const std::string& path);
  void gotCast(const std::string& path);
  void gotStream(const std::string& path);
  void gotNode(std::uint32_t node);
  void stir();
  void end(const std::string& reason);
  /// Runs `next` with the result, or ends the session.
  template <typename Result, typename Next>
  auto orEnd(const char* what, Next next) {
    return [this, what, next](const BusFailure& failure, const Result& result) {
      if (failure) {
        end(std::string(what) + ": " + *failure);
      } else {
        next(result);
      }
    };
  }

  Queues& queues_;
  MutterBus& bus_;
  const DisplayID display_;
  const PixelSize size_;
  const int framesPerSecond_;
  const std::shared_ptr<WaylandPointer> pointer_;
  const Callbacks callbacks_;
  MutterBus::Proxy remoteService_;
  MutterBus::Proxy castService_;
  MutterBus::Proxy remote_;
  MutterBus::Proxy castSession_;
  MutterBus::Proxy stream_;
  std::string remotePath_;
  std::string streamPath_;
  bool running_ = false;
  bool ended_ = false;
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);  // what replies wait for
  std::unique_ptr<ScreenCast> cast_;
};

}  // namespace tessaline::platform
