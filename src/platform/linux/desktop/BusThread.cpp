#include "platform/linux/desktop/BusThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestWait = 1h;

int milliseconds(std::chrono::steady_clock::duration duration) {
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(duration).count();
  return static_cast<int>(
      std::clamp<std::int64_t>(count, 0, std::chrono::milliseconds(kLongestWait).count()));
}

}  // namespace

BusThread::BusThread(std::string name, Client& client)
    : client_(client),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_([this, name = std::move(name)] { run(name); }) {}

BusThread::~BusThread() {
  stopping_ = true;
  wake();
  thread_.join();
  ::close(wakeUp_);
}

void BusThread::wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
}

void BusThread::run(const std::string& name) {
  pthread_setname_np(pthread_self(), name.c_str());
  while (!stopping_) {
    Clock::time_point next = Clock::now() + kLongestWait;
    try {
      next = std::min(next, client_.update());
    } catch (const sdbus::Error& error) {
      log("message bus: " + error.getMessage());
      next = Clock::now() + 1s;
    }
    if (!stopping_) wait(next);
  }
  try {
    client_.finish();
  } catch (const sdbus::Error&) {
    // The bus has gone, and with it what was to be taken back.
  }
}

void BusThread::wait(Clock::time_point until) {
  const auto connections = client_.connections();
  std::vector<pollfd> files = {{wakeUp_, POLLIN, 0}};
  int timeout = milliseconds(until - Clock::now());
  for (const auto* connection : connections) {
    const auto data = connection->getEventLoopPollData();
    files.push_back({data.fd, data.events, 0});
    files.push_back({bus::wakeFile(data), POLLIN, 0});  // poll passes over -1
    if (const int own = data.getPollTimeout(); own >= 0) timeout = std::min(timeout, own);
  }
  ::poll(files.data(), files.size(), timeout);
  std::uint64_t count = 0;
  [[maybe_unused]] const auto read = ::read(wakeUp_, &count, sizeof count);
  for (auto* connection : connections) serve(*connection);
}

void BusThread::serve(sdbus::IConnection& connection) {
  try {
    while (bus::processPending(connection)) {
    }
  } catch (const sdbus::Error&) {
    client_.lost(connection);
  }
}

}  // namespace tessaline::platform
