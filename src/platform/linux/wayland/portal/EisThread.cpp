#include "platform/linux/wayland/portal/EisThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace tessaline::platform {

EisThread::EisThread(int descriptor, EisDevices::Target target)
    : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      devices_(descriptor, std::move(target)),
      thread_([this] { run(); }) {}

EisThread::~EisThread() {
  stopping_ = true;
  wake();
  thread_.join();
  ::close(wakeUp_);
}

void EisThread::post(Work work) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
    ++pending_;
  }
  wake();
}

void EisThread::wake() const {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
}

void EisThread::run() {
  pthread_setname_np(pthread_self(), "portal input");
  while (!stopping_) {
    wait();
    devices_.dispatch();
    hasTouch_ = devices_.hasTouch();
    work();
  }
  devices_.close();
}

void EisThread::wait() {
  std::array<pollfd, 2> files = {{{wakeUp_, POLLIN, 0}, {devices_.descriptor(), POLLIN, 0}}};
  int timeout = -1;
  if (pending_ > 0) {
    const auto left = devices_.waitsUntil() - std::chrono::steady_clock::now();
    timeout =
        std::max(0, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
  }
  ::poll(files.data(), files.size(), timeout);
  std::uint64_t count = 0;
  [[maybe_unused]] const auto read = ::read(wakeUp_, &count, sizeof count);
}

void EisThread::work() {
  if (!devices_.ready() && std::chrono::steady_clock::now() < devices_.waitsUntil()) return;
  std::deque<Work> works;
  {
    const std::lock_guard lock(mutex_);
    works.swap(posted_);
  }
  for (const Work& work : works) {
    work(devices_);
    --pending_;
  }
}

}  // namespace tessaline::platform
