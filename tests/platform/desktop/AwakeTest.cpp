#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/desktop/SleepInhibitor.h"
#include "support/Eventually.h"
#include "support/SessionBus.h"

namespace tessaline::platform {
namespace {

constexpr const char* kInterface = "org.freedesktop.ScreenSaver";  // and the service's name

using test::eventually;

/// A screen saver as desktops have it, on the test's own bus.
class ScreenSaver {
 public:
  ScreenSaver()
      : connection_(sdbus::createSessionBusConnection(bus::ServiceName(kInterface))),
        object_(*connection_, "/org/freedesktop/ScreenSaver") {
    object_.method(kInterface, "Inhibit",
                   [this](const std::string& /*application*/, const std::string& /*reason*/) {
                     ++inhibitions_;
                     return ++last_;
                   });
    object_.method(kInterface, "UnInhibit", [this](std::uint32_t cookie) {
      if (cookie == last_) --inhibitions_;
    });
    object_.publish();
    connection_->enterEventLoopAsync();
  }
  int inhibitions() const { return inhibitions_; }

 private:
  std::uint32_t last_ = 6;
  std::atomic<int> inhibitions_ = 0;
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
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 0; }));

    first = inhibitor.begin(options, "a reason");  // outlives its bus
    EXPECT_TRUE(eventually([&] { return saver->inhibitions() == 1; }));
  }
  first.reset();  // without a bus: nothing happens, and nothing waits
}

}  // namespace
}  // namespace tessaline::platform
