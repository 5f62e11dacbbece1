#pragma once

#include <wayland-client.h>

#include <algorithm>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/linux/wayland/wlroots/Proxy.h"

namespace tessaline::platform {

/// One connection to the compositor and the list of what that offers. It lives on one queue, its
/// owner's; without `watch` it may be used from any one thread. Nothing here waits for a compositor
/// that hangs, save `roundtrip` for as long as it is told.
class WaylandConnection {
 public:
  struct Global {
    std::uint32_t name = 0;
    std::string interface;
    std::uint32_t version = 0;
  };

  /// To the compositor of $WAYLAND_DISPLAY, with the list of its globals.
  [[nodiscard]] static Result<std::unique_ptr<WaylandConnection>> open(
      std::chrono::milliseconds patience);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  [[nodiscard]] wl_display* get() const { return display_; }
  [[nodiscard]] const std::vector<Global>& globals() const { return globals_; }
  [[nodiscard]] const Global* find(std::string_view interface) const;

  /// The global as an object, with the newest version that both sides know.
  template <typename T>
  [[nodiscard]] T* bind(const Global& global, const wl_interface& interface,
                        std::uint32_t version) const {
    return static_cast<T*>(wl_registry_bind(registry_.get(), global.name, &interface,
                                            std::min(version, global.version)));
  }

  /// Waits until the compositor has answered everything so far. False when it does not within
  /// `patience`, or has gone. Not once `watch` was called.
  [[nodiscard]] bool roundtrip(std::chrono::milliseconds patience);

  /// From now on handles events on `queue`, the caller's own: `onIdle` after each batch of them,
  /// `onLost` once when the connection is lost, with the reason. Both may destroy this object, the
  /// listeners of single objects may not.
  void watch(const Queue& queue, std::function<void()> onIdle,
             std::function<void(std::string reason)> onLost);
  /// Hands over what was requested. True when the compositor has taken all of it; else it is slow,
  /// the rest follows by itself, and `onIdle` runs then. Requests made meanwhile pile up in a small
  /// buffer: whoever makes many of them waits.
  bool flush();

  /// Globals that come and go once `open` has listed the first ones.
  std::function<void(const Global&)> onGlobal;
  std::function<void(std::uint32_t name)> onGlobalRemoved;

 private:
  explicit WaylandConnection(wl_display* display);
  /// Reads what has arrived, waiting for it until `deadline`. False when nothing came or the
  /// connection is lost.
  bool readUntil(Clock::time_point deadline);
  void handleReadable();
  void handleWritable();
  void waitReadable();
  void lose();
  [[nodiscard]] std::string lossReason() const;

  wl_display* const display_;
  Proxy<wl_registry> registry_;
  std::vector<Global> globals_;
  bool listed_ = false;
  bool writing_ = false;  // waits for room in the socket
  std::function<void()> onIdle_;
  std::function<void(std::string)> onLost_;
  std::optional<boost::asio::posix::stream_descriptor> descriptor_;
  std::shared_ptr<void> alive_;  // held weakly by the waits
};

}  // namespace tessaline::platform
