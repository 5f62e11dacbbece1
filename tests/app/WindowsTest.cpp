#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QtTest/QTest>

#include "app/ChoiceCardView.h"
#include "app/ModeChooserWindow.h"
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
  static QPushButton* allow() { return shownBox()->buttons().at(0); }
  static QPushButton* refuse() { return shownBox()->buttons().at(1); }

  static void waitUntilReady() {
    ASSERT_TRUE(QTest::qWaitFor([] { return allow()->isEnabled(); }));
  }

  const test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  ApprovedDevices devices_{defaults_};
  std::string answers_;
  ApprovalAlertWindow alert_{devices_};
};

TEST_F(ApprovalAlert, AMaliciousNameIsNoMarkupAndAHastyKeyNoAnswer) {
  deviceAsks("id", "<b>Anna</b>");
  ASSERT_NE(shownBox(), nullptr);
  EXPECT_EQ(message(), "Use “<b>Anna</b>” as your extra screen?");
  for (const QLabel* label : shownBox()->findChildren<QLabel*>()) {
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
  }
  EXPECT_EQ(shownBox()->accessibleDescription().toStdString(),
            ApprovedDevices::Prompt::kInformativeText);
  EXPECT_EQ(allow()->text(), "Use as Extra Screen");
  EXPECT_EQ(refuse()->text(), "Don't Allow");
  EXPECT_LT(allow()->x(), refuse()->x());
  for (const auto key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape}) {
    ASSERT_NE(shownBox(), nullptr);
    QTest::keyClick(shownBox(), key);
  }
  EXPECT_EQ(answers_, "");
  waitUntilReady();
  QTest::keyClick(shownBox(), Qt::Key_Return);
  EXPECT_EQ(answers_, "id+");
  EXPECT_EQ(shownBox(), nullptr);
}

TEST_F(ApprovalAlert, AsksOneAfterTheOtherAndClosesWhenAnsweredElsewhere) {
  deviceAsks("a", "A");
  deviceAsks("b", "B");
  deviceAsks("c", "C");
  EXPECT_EQ(message(), devices_.pending()[0].message());
  waitUntilReady();
  refuse()->click();
  EXPECT_EQ(answers_, "a-");
  EXPECT_EQ(message(), "Use “B” as your extra screen?");
  devices_.answer(devices_.pending()[0].id, true);
  EXPECT_EQ(message(), "Use “C” as your extra screen?");
  shownBox()->close();
  EXPECT_EQ(answers_, "a-b+c-") << "closing the window refuses";
  EXPECT_EQ(shownBox(), nullptr);
}

TEST(ModeChooser, IsUsableFromTheKeyboardAndByClick) {
  for (const bool supported : {true, false}) {
    ModeChooserWindow window(supported, mainMenu());
    std::string chosen;
    std::string menu;
    window.onChoose = [&](AppMode mode) { chosen += std::string(mode.text()) + " "; };
    window.onMenu = [&](MenuAction action) { menu += action == MenuAction::quit ? "quit" : "?"; };
    window.bringToFront();
    std::vector<ChoiceCardView*> cards;
    for (auto* button : window.findChildren<QAbstractButton*>()) {
      if (auto* card = dynamic_cast<ChoiceCardView*>(button)) cards.push_back(card);
    }
    ASSERT_EQ(cards.size(), 2U);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(window.focusWidget(), Qt::Key_Return);
    EXPECT_EQ(chosen, supported ? "main " : "screen ");
    chosen.clear();
    for (auto* card : cards) QTest::mouseClick(card, Qt::LeftButton);
    EXPECT_EQ(chosen, supported ? "main screen " : "screen ");
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(menu, "quit");
    QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window.isVisible());
    window.bringToFront();
    EXPECT_TRUE(window.isVisible());
  }
}

}  // namespace
}  // namespace tessaline
