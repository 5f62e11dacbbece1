#include "app/QtMainQueue.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <algorithm>
#include <thread>
#include <vector>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

/// A queue and the event loop under it.
class QtQueue : public testing::Test {
 protected:
  static void runLoop() { QCoreApplication::exec(); }
  static void endLoop() { QCoreApplication::exit(); }
  static void busyFor(Duration duration) {
    const auto until = Clock::now() + duration;
    while (Clock::now() < until) {
    }
  }
  const std::shared_ptr<QtMainQueue> queue_ = std::make_shared<QtMainQueue>();
};

TEST_F(QtQueue, CancelledTimersNeverFire) {
  int fired = 0;
  queue_->async([&] {
    // All are due before the loop is free again: only cancelling keeps them from firing.
    Timer once = queue_->after(0ms, [&] { ++fired; });
    Timer repeating = queue_->every(1ms, [&] { ++fired; });
    Timer elsewhere = queue_->after(0ms, [&] { ++fired; });
    busyFor(5ms);
    once.cancel();
    repeating = {};
    std::thread([&] { elsewhere.cancel(); }).join();
    queue_->asyncAfter(5ms, endLoop);
  });
  runLoop();
  EXPECT_EQ(fired, 0);
}

TEST_F(QtQueue, ALateTimerFiresOnceForAllItMissed) {
  int fired = 0;
  int counted = 0;
  Timer timer = queue_->every(10ms, [&] {
    if (++fired > 1) return;
    busyFor(100ms);  // ten intervals
    queue_->asyncAfter(1ms, [&] {
      counted = fired;
      endLoop();
    });
  });
  runLoop();
  EXPECT_LE(counted, 2);
}

}  // namespace
}  // namespace tessaline
