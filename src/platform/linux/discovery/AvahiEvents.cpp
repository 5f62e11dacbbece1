#include "platform/linux/discovery/AvahiEvents.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <chrono>
#include <utility>

#include "base/AsioQueue.h"

namespace asio = boost::asio;

namespace {

/// One descriptor that Avahi waits for. A bus connection has two watches on the same descriptor,
/// and a reactor takes each descriptor once: every watch has a duplicate.
class Watch : public std::enable_shared_from_this<Watch> {
 public:
  Watch(const asio::any_io_executor& executor, AvahiWatch* owner, int descriptor,
        AvahiWatchCallback callback, void* userdata)
      : owner_(owner),
        number_(descriptor),
        descriptor_(executor),
        callback_(callback),
        userdata_(userdata) {}

  /// False when there are no descriptors left.
  bool open() {
    const int duplicate = ::fcntl(number_, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) return false;
    boost::system::error_code error;
    descriptor_.assign(duplicate, error);
    if (error) ::close(duplicate);
    return !error;
  }

  void want(AvahiWatchEvent events) {
    wanted_ = events;
    wait(AVAHI_WATCH_IN, asio::posix::stream_descriptor::wait_read, waitingToRead_);
    wait(AVAHI_WATCH_OUT, asio::posix::stream_descriptor::wait_write, waitingToWrite_);
  }
  [[nodiscard]] AvahiWatchEvent happened() const { return happened_; }
  void free() {
    owner_ = nullptr;
    boost::system::error_code ignored;
    descriptor_.close(ignored);
  }

 private:
  void wait(int event, asio::posix::stream_descriptor::wait_type type, bool& waiting) {
    if ((wanted_ & event) == 0 || waiting) return;
    waiting = true;
    descriptor_.async_wait(type, [self = shared_from_this(), &waiting](const auto& error) {
      waiting = false;
      if (!error && self->owner_) self->ready();
    });
  }

  void ready() {
    pollfd now{descriptor_.native_handle(), static_cast<short>(wanted_), 0};
    if (::poll(&now, 1, 0) > 0 && now.revents != 0) {
      happened_ = static_cast<AvahiWatchEvent>(now.revents);
      callback_(owner_, number_, happened_, userdata_);
      happened_ = static_cast<AvahiWatchEvent>(0);
    }
    if (owner_) want(wanted_);
  }

  AvahiWatch* owner_;  // none once freed
  const int number_;
  asio::posix::stream_descriptor descriptor_;
  const AvahiWatchCallback callback_;
  void* const userdata_;
  AvahiWatchEvent wanted_{};
  AvahiWatchEvent happened_{};
  bool waitingToRead_ = false;
  bool waitingToWrite_ = false;
};

}  // namespace

// Avahi leaves these two types to whoever gives it an event loop.

struct AvahiWatch {
  std::shared_ptr<Watch> watch;
};

struct AvahiTimeout {
  tessaline::Queue& queue;
  AvahiTimeoutCallback callback;
  void* userdata;
  tessaline::Timer timer;
};

namespace tessaline::platform {
namespace {

Queue& queueOf(const AvahiPoll* api) {
  return *static_cast<Queue*>(api->userdata);
}

AvahiWatch* newWatch(const AvahiPoll* api, int descriptor, AvahiWatchEvent events,
                     AvahiWatchCallback callback, void* userdata) {
  auto made = std::make_unique<AvahiWatch>();
  made->watch = std::make_shared<Watch>(AsioQueue::executorOf(queueOf(api)), made.get(), descriptor,
                                        callback, userdata);
  if (!made->watch->open()) return nullptr;
  made->watch->want(events);
  return made.release();
}

void updateWatch(AvahiWatch* watch, AvahiWatchEvent events) {
  watch->watch->want(events);
}

AvahiWatchEvent eventsOf(AvahiWatch* watch) {
  return watch->watch->happened();
}

void freeWatch(AvahiWatch* watch) {
  watch->watch->free();
  delete watch;
}

/// `time` is on the clock that people set.
Duration until(const timeval& time) {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  const auto delay = std::chrono::seconds(time.tv_sec - now.tv_sec) +
                     std::chrono::microseconds(time.tv_usec - now.tv_usec);
  return std::max<Duration>(delay, Duration::zero());
}

void updateTimeout(AvahiTimeout* timeout, const timeval* time) {
  timeout->timer.cancel();
  if (!time) return;
  timeout->timer = timeout->queue.after(
      until(*time), [timeout] { timeout->callback(timeout, timeout->userdata); });
}

AvahiTimeout* newTimeout(const AvahiPoll* api, const timeval* time, AvahiTimeoutCallback callback,
                         void* userdata) {
  auto made = std::make_unique<AvahiTimeout>(AvahiTimeout{queueOf(api), callback, userdata, {}});
  updateTimeout(made.get(), time);
  return made.release();
}

void freeTimeout(AvahiTimeout* timeout) {
  delete timeout;
}

}  // namespace

AvahiEvents::AvahiEvents(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {
  api_.userdata = queue_.get();
  api_.watch_new = newWatch;
  api_.watch_update = updateWatch;
  api_.watch_get_events = eventsOf;
  api_.watch_free = freeWatch;
  api_.timeout_new = newTimeout;
  api_.timeout_update = updateTimeout;
  api_.timeout_free = freeTimeout;
}

}  // namespace tessaline::platform
