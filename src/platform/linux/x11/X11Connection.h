#pragma once

#include <xcb/xcb.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::platform {

struct FreeReply {
  void operator()(void* memory) const { std::free(memory); }
};
/// What xcb hands out and wants freed.
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

/// One connection to the X server. It lives on one queue, its owner's; without `watch` it may be
/// used from any one thread. An error of the server is an event that nobody reads or an empty
/// reply, and a lost connection makes every further request a no-op: nothing here ends the process.
class X11Connection {
 public:
  using EventHandler = std::function<void(const xcb_generic_event_t&)>;

  /// `displayName` as in $DISPLAY; empty means that one.
  static Result<std::unique_ptr<X11Connection>> open(const std::string& displayName);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  [[nodiscard]] xcb_connection_t* get() const { return connection_; }
  [[nodiscard]] const xcb_screen_t& screen() const { return *screen_; }
  [[nodiscard]] xcb_window_t root() const { return screen_->root; }
  [[nodiscard]] bool lost() const { return xcb_connection_has_error(connection_) != 0; }

  /// The number of the extension's first event, nothing when the server lacks the extension.
  [[nodiscard]] std::optional<std::uint8_t> extension(xcb_extension_t& id) const;
  /// 0 when the connection is lost.
  [[nodiscard]] xcb_atom_t atom(std::string_view name) const;
  [[nodiscard]] std::string atomName(xcb_atom_t atom) const;

  /// True when the server carried the request out.
  [[nodiscard]] bool succeeded(xcb_void_cookie_t cookie) const;
  void flush() const { xcb_flush(connection_); }

  /// From now on reads events on `queue`, the caller's own: `onEvent` for each, `onIdle` after each
  /// run of them (and once at the start), then `onLost` once when the server has gone. The handlers
  /// may use the connection; only `onIdle` and `onLost` may destroy it.
  void watch(const Queue& queue, EventHandler onEvent, std::function<void()> onIdle,
             std::function<void()> onLost);

  /// Handles what a blocking reply has read past. Needed after each use of the connection that a
  /// handler did not start: the socket does not become readable again for those events.
  void dispatch();

 private:
  X11Connection(xcb_connection_t* connection, xcb_screen_t* screen)
      : connection_(connection), screen_(screen) {}
  void waitReadable();

  xcb_connection_t* const connection_;
  xcb_screen_t* const screen_;
  std::optional<boost::asio::posix::stream_descriptor> descriptor_;
  EventHandler onEvent_;
  std::function<void()> onIdle_;
  std::function<void()> onLost_;
  std::shared_ptr<void> alive_;  // lets a handler that is already under way see the destruction
};

/// While it lives, the X server serves this connection only: others see several changes as one.
class ServerGrab {
 public:
  explicit ServerGrab(const X11Connection& connection) : connection_(connection) {
    xcb_grab_server(connection_.get());
  }
  ~ServerGrab() {
    xcb_ungrab_server(connection_.get());
    connection_.flush();
  }
  ServerGrab(const ServerGrab&) = delete;
  ServerGrab& operator=(const ServerGrab&) = delete;

 private:
  const X11Connection& connection_;
};

}  // namespace tessaline::platform
