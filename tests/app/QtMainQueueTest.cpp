#include "app/QtMainQueue.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <thread>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

TEST(QtQueue, CancelledTimersNeverFire) {
  const auto queue = std::make_shared<QtMainQueue>();
  int fired = 0;
  queue->async([&] {
    // All are due before the loop is free again: only cancelling keeps them from firing.
    Timer once = queue->after(0ms, [&] { ++fired; });
    Timer repeating = queue->every(1ms, [&] { ++fired; });
    Timer elsewhere = queue->after(0ms, [&] { ++fired; });
    std::this_thread::sleep_for(5ms);
    once.cancel();
    repeating = {};
    std::thread([&] { elsewhere.cancel(); }).join();
    queue->asyncAfter(5ms, [] { QCoreApplication::exit(); });
  });
  QCoreApplication::exec();
  EXPECT_EQ(fired, 0);
}

}  // namespace
}  // namespace tessaline
