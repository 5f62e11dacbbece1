#include "base/Queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "base/AsioQueue.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class RealQueues : public testing::TestWithParam<bool> {
 protected:
  AsioQueues queues_;
  std::shared_ptr<Queue> queue_ =
      GetParam() ? queues_.thread("tessaline.test") : queues_.serial("tessaline.test");
};

INSTANTIATE_TEST_SUITE_P(StrandsAndThreads, RealQueues, testing::Bool());

TEST_P(RealQueues, CancelledTimersNeverFire) {
  std::atomic<int> fired = 0;
  queue_->sync([&] {
    // Both are due before the queue is free again: only cancelling keeps them from firing.
    Timer once = queue_->after(0ms, [&] { ++fired; });
    Timer repeating = queue_->every(1ms, [&] { ++fired; });
    std::this_thread::sleep_for(5ms);
    once.cancel();
    repeating = {};
  });
  std::promise<void> later;
  queue_->asyncAfter(5ms, [&] { later.set_value(); });
  later.get_future().wait();
  EXPECT_EQ(fired, 0);
}

TEST_P(RealQueues, ALateTimerFiresOnceForAllItMissed) {
  int fired = 0;
  std::promise<int> counted;
  Timer timer = queue_->every(10ms, [&] {
    if (++fired > 1) return;
    std::this_thread::sleep_for(100ms);  // ten intervals
    queue_->asyncAfter(1ms, [&] { counted.set_value(fired); });
  });
  EXPECT_LE(counted.get_future().get(), 2);
  queue_->sync([&] { timer.cancel(); });
}

TEST_P(RealQueues, MayBeDroppedByTheirOwnWork) {
  std::promise<void> done;
  std::weak_ptr<Queue> weak = queue_;
  queue_->async([last = std::move(queue_), &done]() mutable {
    last.reset();
    done.set_value();
  });
  done.get_future().wait();
}

}  // namespace
}  // namespace tessaline
