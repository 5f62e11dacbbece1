#include "platform/linux/x11/X11Connection.h"

#include <sys/socket.h>

#include <boost/asio/post.hpp>

#include "base/AsioQueue.h"

namespace tessaline::platform {

Result<std::unique_ptr<X11Connection>> X11Connection::open(const std::string& displayName) {
  int number = 0;
  xcb_connection_t* connection =
      xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &number);
  if (xcb_connection_has_error(connection) != 0) {
    xcb_disconnect(connection);
    const char* fallback = std::getenv("DISPLAY");
    return Failure{"no X server at \"" +
                   (displayName.empty() ? std::string(fallback ? fallback : "") : displayName) +
                   "\""};
  }
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
  return std::unique_ptr<X11Connection>(new X11Connection(connection, screens.data));
}

X11Connection::~X11Connection() {
  if (descriptor_) descriptor_->release();  // the socket is xcb's to close
  xcb_disconnect(connection_);
}

std::optional<std::uint8_t> X11Connection::extension(xcb_extension_t& id) const {
  const auto* data = xcb_get_extension_data(connection_, &id);
  if (!data || !data->present) return std::nullopt;
  return data->first_event;
}

xcb_atom_t X11Connection::atom(std::string_view name) const {
  const auto cookie =
      xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookie, nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::string X11Connection::atomName(xcb_atom_t atom) const {
  const auto cookie = xcb_get_atom_name(connection_, atom);
  const Reply<xcb_get_atom_name_reply_t> reply(
      xcb_get_atom_name_reply(connection_, cookie, nullptr));
  if (!reply) return {};
  return {xcb_get_atom_name_name(reply.get()),
          static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

bool X11Connection::succeeded(xcb_void_cookie_t cookie) const {
  const Reply<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
  return !error && !lost();
}

void X11Connection::watch(const Queue& queue, EventHandler onEvent, std::function<void()> onIdle,
                          std::function<void()> onLost) {
  onEvent_ = std::move(onEvent);
  onIdle_ = std::move(onIdle);
  onLost_ = std::move(onLost);
  alive_ = std::make_shared<int>(0);
  descriptor_.emplace(AsioQueue::executorOf(queue), xcb_get_file_descriptor(connection_));
  dispatch();
}

void X11Connection::dispatch() {
  const std::weak_ptr<void> alive = alive_;
  while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
    if (event->response_type != 0) onEvent_(*event);  // 0 is an error of an unchecked request
  }
  if (lost()) {
    descriptor_->cancel();
    // Where it was this side that gave up, the server must not go on keeping what it grabbed.
    ::shutdown(xcb_get_file_descriptor(connection_), SHUT_RDWR);
    if (const auto onLost = std::exchange(onLost_, nullptr)) onLost();
    return;
  }
  onIdle_();
  if (alive.expired()) return;
  waitReadable();
}

void X11Connection::waitReadable() {
  // Handlers wait for replies, which read events off the socket too.
  if (const Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection_)}) {
    if (event->response_type != 0) onEvent_(*event);
    // Posted: a pointer that never rests must neither deepen the stack nor keep the queue to
    // itself.
    boost::asio::post(descriptor_->get_executor(), [this, alive = std::weak_ptr<void>(alive_)] {
      if (!alive.expired()) dispatch();
    });
    return;
  }
  flush();
  descriptor_->cancel();  // at most one wait at a time
  descriptor_->async_wait(boost::asio::posix::stream_descriptor::wait_read,
                          [this, alive = std::weak_ptr<void>(alive_)](const auto& error) {
                            if (!error && !alive.expired()) dispatch();
                          });
}

}  // namespace tessaline::platform
