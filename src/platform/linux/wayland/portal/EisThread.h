#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "platform/linux/wayland/portal/EisDevices.h"

namespace tessaline::platform {

/// The thread "portal input", which serves one connection to the compositor's emulated input. What
/// is posted waits in order until the devices are there, for a moment at most; a compositor that
/// takes nothing makes nobody wait. Made and destroyed on the main queue.
class EisThread {
 public:
  using Work = std::function<void(EisDevices&)>;

  /// Owns `descriptor` from here on.
  EisThread(int descriptor, EisDevices::Target target);
  /// What was posted is done before, if it can be done now.
  ~EisThread();
  EisThread(const EisThread&) = delete;
  EisThread& operator=(const EisThread&) = delete;

  void post(Work work);
  [[nodiscard]] std::size_t pending() const { return pending_; }
  [[nodiscard]] bool hasTouch() const { return hasTouch_; }

 private:
  void run();
  void wait();
  void work();
  void wake() const;

  const int wakeUp_;  // an eventfd
  std::mutex mutex_;
  std::deque<Work> posted_;  // guarded by mutex_
  std::atomic<std::size_t> pending_ = 0;
  std::atomic<bool> hasTouch_ = false;
  std::atomic<bool> stopping_ = false;
  EisDevices devices_;  // the thread's
  std::thread thread_;
};

}  // namespace tessaline::platform
