#include "platform/linux/wayland/wlroots/WaylandConnection.h"

#include <poll.h>

#include <cerrno>
#include <cstdlib>

#include "base/AsioQueue.h"

namespace tessaline::platform {

Result<std::unique_ptr<WaylandConnection>> WaylandConnection::open(
    std::chrono::milliseconds patience) {
  wl_display* const display = wl_display_connect(nullptr);
  if (!display) {
    const char* const name = std::getenv("WAYLAND_DISPLAY");
    return Failure{"no Wayland compositor at \"" + std::string(name ? name : "") + "\""};
  }
  std::unique_ptr<WaylandConnection> connection(new WaylandConnection(display));
  if (!connection->roundtrip(patience)) {
    return Failure{wl_display_get_error(display) != 0 ? connection->lossReason()
                                                      : "the Wayland compositor does not answer"};
  }
  connection->listed_ = true;
  return connection;
}

WaylandConnection::WaylandConnection(wl_display* display)
    : display_(display), registry_(wl_display_get_registry(display)) {
  static constexpr wl_registry_listener kListener{
      .global =
          [](void* data, wl_registry* /*registry*/, std::uint32_t name, const char* interface,
             std::uint32_t version) {
            auto* const self = static_cast<WaylandConnection*>(data);
            self->globals_.push_back({name, interface, version});
            // A copy: what is told may look for more and so move the list.
            const Global global = self->globals_.back();
            if (self->listed_ && self->onGlobal) self->onGlobal(global);
          },
      .global_remove =
          [](void* data, wl_registry* /*registry*/, std::uint32_t name) {
            auto* const self = static_cast<WaylandConnection*>(data);
            std::erase_if(self->globals_, [&](const Global& each) { return each.name == name; });
            if (self->onGlobalRemoved) self->onGlobalRemoved(name);
          },
  };
  wl_registry_add_listener(registry_.get(), &kListener, this);
}

WaylandConnection::~WaylandConnection() {
  alive_.reset();
  if (descriptor_) descriptor_->release();  // the socket is the library's to close
  registry_.reset();
  wl_display_disconnect(display_);
}

const WaylandConnection::Global* WaylandConnection::find(std::string_view interface) const {
  const auto found = std::ranges::find(globals_, interface, &Global::interface);
  return found == globals_.end() ? nullptr : &*found;
}

bool WaylandConnection::readUntil(Clock::time_point deadline) {
  while (wl_display_prepare_read(display_) != 0) {
    if (wl_display_dispatch_pending(display_) < 0) return false;
  }
  pollfd waiting{wl_display_get_fd(display_), POLLIN, 0};
  for (;;) {
    if (wl_display_flush(display_) < 0 && errno == EAGAIN) waiting.events = POLLIN | POLLOUT;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    const int ready = poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(0, left.count())));
    if (ready < 0 && errno == EINTR) continue;
    if (ready > 0 && (waiting.revents & ~POLLOUT) == 0) {
      waiting.events = POLLIN;
      continue;
    }
    if (ready > 0) break;
    wl_display_cancel_read(display_);
    return false;
  }
  return wl_display_read_events(display_) == 0 && wl_display_dispatch_pending(display_) >= 0;
}

bool WaylandConnection::roundtrip(std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  bool answered = false;
  static constexpr wl_callback_listener kListener{
      .done = [](void* data, wl_callback* /*callback*/, std::uint32_t /*serial*/) {
        *static_cast<bool*>(data) = true;
      }};
  const Proxy<wl_callback> callback(wl_display_sync(display_));
  wl_callback_add_listener(callback.get(), &kListener, &answered);
  while (!answered) {
    if (!readUntil(deadline)) return false;
  }
  return true;
}

void WaylandConnection::watch(const Queue& queue, std::function<void()> onIdle,
                              std::function<void(std::string reason)> onLost) {
  onIdle_ = std::move(onIdle);
  onLost_ = std::move(onLost);
  alive_ = std::make_shared<int>(0);
  descriptor_.emplace(AsioQueue::executorOf(queue), wl_display_get_fd(display_));
  waitReadable();
  flush();
}

void WaylandConnection::waitReadable() {
  descriptor_->async_wait(boost::asio::posix::stream_descriptor::wait_read,
                          [this, alive = std::weak_ptr<void>(alive_)](const auto& error) {
                            if (!error && !alive.expired()) handleReadable();
                          });
}

void WaylandConnection::handleReadable() {
  const std::weak_ptr<void> alive = alive_;
  // Whoever reads must have handled everything before; then reading cannot wait.
  while (wl_display_prepare_read(display_) != 0) {
    if (wl_display_dispatch_pending(display_) < 0) return lose();
  }
  if (wl_display_read_events(display_) < 0 || wl_display_dispatch_pending(display_) < 0) {
    return lose();
  }
  waitReadable();
  onIdle_();
  if (!alive.expired()) flush();
}

bool WaylandConnection::flush() {
  if (writing_) return false;
  if (wl_display_flush(display_) >= 0) return true;
  if (errno != EAGAIN) return true;  // lost: reading tells so, and why
  if (!descriptor_) return false;
  writing_ = true;
  descriptor_->async_wait(boost::asio::posix::stream_descriptor::wait_write,
                          [this, alive = std::weak_ptr<void>(alive_)](const auto& error) {
                            if (!error && !alive.expired()) handleWritable();
                          });
  return false;
}

void WaylandConnection::handleWritable() {
  writing_ = false;
  if (!flush()) return;
  onIdle_();
}

void WaylandConnection::lose() {
  descriptor_->cancel();
  if (const auto onLost = std::exchange(onLost_, nullptr)) onLost(lossReason());
}

std::string WaylandConnection::lossReason() const {
  if (wl_display_get_error(display_) == EPROTO) {
    const wl_interface* interface = nullptr;
    std::uint32_t id = 0;
    const std::uint32_t code = wl_display_get_protocol_error(display_, &interface, &id);
    return "the compositor ended the connection with error " + std::to_string(code) + " of " +
           (interface ? interface->name : "an unknown object");
  }
  return "the compositor has gone";
}

}  // namespace tessaline::platform
