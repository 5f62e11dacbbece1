#include "control/StatusTrayView.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QThread>
#include <QtTest/QTest>
#include <algorithm>
#include <atomic>

#include "control/StatusMenuWindow.h"

namespace tessaline {
namespace {

/// What a panel offers to programs on the session bus. Answers on a thread of its own, as the
/// toolkit waits for it.
class Panel final : public QDBusVirtualObject {
 public:
  std::atomic<bool> registered = false;

  Panel() {
    moveToThread(&thread_);
    thread_.start();
  }
  ~Panel() override {
    thread_.quit();
    thread_.wait();
  }
  bool start() {
    return bus_.registerVirtualObject("/StatusNotifierWatcher", this) &&
           bus_.registerService("org.kde.StatusNotifierWatcher");
  }
  QString introspect(const QString& /*path*/) const override {
    return R"(<interface name="org.kde.StatusNotifierWatcher">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/></interface>)";
  }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.member() == "RegisterStatusNotifierItem") {
      registered = true;
      return connection.send(message.createReply());
    }
    if (message.member() != "Get") return false;
    return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(true))));
  }

 private:
  QThread thread_;
  QDBusConnection bus_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "panel");
};

int visibleWindows() {
  return static_cast<int>(std::ranges::count_if(QApplication::topLevelWidgets(), [](auto* widget) {
    return widget->isVisible() && dynamic_cast<StatusMenuWindow*>(widget);
  }));
}

// The toolkit looks for a panel once in a process, so one test tells the whole story.
TEST(StatusTray, ShowsTheMenuAsAWindowUntilAPanelAppearsThatIsLateAfterLogin) {
  if (!QDBusConnection::sessionBus().isConnected()) GTEST_SKIP() << "no session bus";
  StatusTrayView tray([] { return StatusMenu(); });
  tray.setActive(true);
  EXPECT_EQ(visibleWindows(), 0) << "the desktop may be starting";
  EXPECT_TRUE(tray.reopen());
  EXPECT_EQ(visibleWindows(), 1) << "whoever asks is not kept waiting";
  Panel panel;
  ASSERT_TRUE(panel.start());
  ASSERT_TRUE(QTest::qWaitFor([&] { return panel.registered.load(); }));
  EXPECT_EQ(visibleWindows(), 0);
  EXPECT_FALSE(tray.reopen());
}

}  // namespace
}  // namespace tessaline
