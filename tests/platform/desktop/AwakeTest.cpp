#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/desktop/SleepInhibitor.h"
#include "support/Eventually.h"
#include "support/SessionBus.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr const char* kInterface = "org.freedesktop.ScreenSaver";  // and the service's name

using test::eventually;

/// A screen saver as desktops have it, on the test's own bus.
class ScreenSaver {
 public:
  explicit ScreenSaver(std::chrono::milliseconds delay = 0ms)
      : connection_(sdbus::createSessionBusConnection(bus::ServiceName(kInterface))),
        object_(*connection_, "/org/freedesktop/ScreenSaver") {
    object_.method(
        kInterface, "Inhibit",
        [this, delay](const std::string& /*application*/, const std::string& /*reason*/) {
          std::this_thread::sleep_for(delay);
          ++inhibitions_;
          return ++last_;
        });
    object_.method(kInterface, "UnInhibit", [this](std::uint32_t cookie) {
      if (cookie == last_) --inhibitions_;
      ++released_;
    });
    object_.publish();
    connection_->enterEventLoopAsync();
  }
  int inhibitions() const { return inhibitions_; }
  int released() const { return released_; }

 private:
  std::uint32_t last_ = 6;
  std::atomic<int> inhibitions_ = 0;
  std::atomic<int> released_ = 0;
  std::unique_ptr<sdbus::IConnection> connection_;
  bus::Object object_;
};

TEST(Awake, LastsAsLongAsItsActivitiesWhateverHappensToTheScreenSaver) {
  if (!test::SessionBus::available()) GTEST_SKIP() << "dbus-daemon is not installed";
  ::unsetenv("DISPLAY");
  const ActivityOptions options{.idleDisplaySleepDisabled = true};
  SleepInhibitor inhibitor;
  std::unique_ptr<Activity> first;
  {
    const test::SessionBus bus;
    auto saver = std::make_unique<ScreenSaver>();
    first = inhibitor.begin(options, "a reason");
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 1; }));
    // It crashes and another one starts: what was asked for still stands.
    saver.reset();
    saver = std::make_unique<ScreenSaver>();
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 1; }));
    first.reset();
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 0 && saver->released() == 1; }));

    // An activity that ends while a slow service still answers leaves nothing behind.
    saver.reset();
    saver = std::make_unique<ScreenSaver>(300ms);
    first = inhibitor.begin(options, "a reason");
    std::this_thread::sleep_for(100ms);
    first.reset();
    EXPECT_TRUE(eventually([&] { return saver->released() == 1; }));
    EXPECT_EQ(saver->inhibitions(), 0);
    first = inhibitor.begin(options, "a reason");  // outlives its bus
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 1; }));
  }
  first.reset();  // without a bus: nothing happens, and nothing waits
}

}  // namespace
}  // namespace tessaline::platform
