#pragma once

#include <QObject>
#include <thread>

#include "base/Queue.h"

namespace tessaline {

/// The main queue: Qt's event loop. Made on the main thread before anything posts to it; after the
/// loop has ended nothing runs any more. Its timers keep to the millisecond.
class QtMainQueue final : public Queue, public std::enable_shared_from_this<QtMainQueue> {
 public:
  QtMainQueue() : Queue("main"), thread_(std::this_thread::get_id()) {}

  void async(Work work) override;
  [[nodiscard]] Timer after(Duration delay, Work work) override;
  using Queue::every;
  [[nodiscard]] Timer every(Duration interval, Work work, Duration first) override;
  void asyncAfter(Duration delay, Work work) override;
  [[nodiscard]] Clock::time_point now() const override { return Clock::now(); }
  [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == thread_; }

 private:
  class LoopTimer;
  Timer start(Duration first, Duration interval, Work work);

  const std::thread::id thread_;
  QObject receiver_;  // events for it run on the main thread
};

}  // namespace tessaline
