#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QtTest/QTest>

#include "shell/AlertWindow.h"
#include "support/TemporaryFolder.h"
#include "web/ApprovalAlertWindow.h"

namespace tessaline {
namespace {

/// The alert over real approvals.
class ApprovalAlert : public testing::Test {
 protected:
  ~ApprovalAlert() override { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

  void deviceAsks(const std::string& id, const std::string& name) {
    Hello hello;
    hello.deviceID = id;
    hello.deviceName = name;
    devices_.ask(hello, [this, id](bool allowed) { answers_ += id + (allowed ? "+" : "-"); });
  }
  static AlertWindow* shownBox() {
    AlertWindow* shown = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      auto* box = dynamic_cast<AlertWindow*>(widget);
      if (!box || !box->isVisible()) continue;
      EXPECT_EQ(shown, nullptr) << "two questions at once";
      shown = box;
    }
    return shown;
  }
  static std::string message() { return shownBox()->accessibleName().toStdString(); }

  const test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  ApprovedDevices devices_{defaults_};
  std::string answers_;
  ApprovalAlertWindow alert_{devices_};
};

TEST_F(ApprovalAlert, AsksOneAfterTheOtherAndTakesNeitherMarkupNorAHastyKey) {
  deviceAsks("a", "<b>Anna</b>");
  deviceAsks("b", "B");
  deviceAsks("c", "C");
  ASSERT_NE(shownBox(), nullptr);
  EXPECT_EQ(message(), "Use “<b>Anna</b>” as your extra screen?");
  for (const QLabel* label : shownBox()->findChildren<QLabel*>()) {
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
  }
  for (const auto key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape}) {
    ASSERT_NE(shownBox(), nullptr);
    QTest::keyClick(shownBox(), key);
  }
  EXPECT_EQ(answers_, "");
  ASSERT_TRUE(QTest::qWaitFor([] { return shownBox()->buttons().at(0)->isEnabled(); }));
  QTest::keyClick(shownBox(), Qt::Key_Return);
  EXPECT_EQ(answers_, "a+");
  EXPECT_EQ(message(), "Use “B” as your extra screen?");
  devices_.answer(devices_.pending()[0].id, true);  // elsewhere
  EXPECT_EQ(message(), "Use “C” as your extra screen?");
  shownBox()->close();
  EXPECT_EQ(answers_, "a+b+c-") << "closing the window refuses";
  EXPECT_EQ(shownBox(), nullptr);
}

}  // namespace
}  // namespace tessaline
