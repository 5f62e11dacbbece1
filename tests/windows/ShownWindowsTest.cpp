#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QProcess>
#include <QScreen>
#include <QScrollBar>
#include <QStandardPaths>
#include <QStyle>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QtTest/QTest>
#include <set>

#include "app/MainMenu.h"
#include "app/ModeChooserWindow.h"
#include "control/MacHelpWindow.h"
#include "control/SetupAssistantWindow.h"
#include "control/StatusMenuView.h"
#include "control/StatusMenuWindow.h"
#include "receiver/HomeWindow.h"
#include "shell/AlertWindow.h"
#include "shell/TextView.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"
#include "support/x11/PrivateXServer.h"
#include "web/LinkWindow.h"

namespace tessaline {
namespace {

QPalette palette(bool dark) {
  if (!dark) return std::unique_ptr<QStyle>(QStyleFactory::create("Fusion"))->standardPalette();
  QPalette palette(QColor(0x35, 0x35, 0x3A), QColor(0x20, 0x20, 0x24));
  palette.setColor(QPalette::Base, QColor(0x18, 0x18, 0x1B));
  return palette;
}

/// What the windows show in the tests: everything that can appear, with names as people give them.
/// Actions append their entry's title and a bar to `done`.
StatusMenu sampleStatusMenu(std::string& done) {
  using Kind = StatusMenuItem::Kind;
  const auto entry = [&done](const std::string& title, Kind kind = Kind::command) {
    StatusMenuItem item;
    item.kind = kind;
    item.title = title;
    item.symbol = "display";
    item.action = [&done, title] { done += title + "|"; };
    return item;
  };
  StatusMenu menu{{"Live on Anna's iMac, Anna’s old tablet in the kitchen", StatusDot::green},
                  {entry("Allow Local Network Access…"), entry("Stop Extra Screen"),
                   entry("Screens", Kind::sectionHeader), entry("Anna's iMac"),
                   entry("The R&B room's rather long computer name 01"), entry("אייפד של דנה 🎨"),
                   entry("Add a Screen"), entry("", Kind::separator), entry("Quit Tessaline")}};
  menu.items[3].checked = true;
  menu.items[6].submenu = {entry("Phone, Tablet or Computer (Scan a QR Code)…"),
                           entry("Another Mac (Best Quality)…")};
  menu.items.back().key = 'q';
  return menu;
}

SetupAssistant sampleSetupAssistant(std::string& done) {
  const auto button = [&done](const std::string& title) {
    return SetupAssistant::Button{title, [&done, title] { done += title + "|"; }};
  };
  SetupAssistant setup;
  setup.title = "Set up your extra screen";
  setup.line = "Four quick steps and your other Mac becomes an extra screen.";
  const std::string text =
      "On the other Mac, open Tessaline and choose “Make this an extra screen”. Same Wi-Fi.";
  setup.steps = {{"Let Tessaline show your extra screen", text, true, false, {}},
                 {"Let it find your other Mac", text, false, true, {}},
                 {"The other Mac", text, false, false, {}},
                 {"Smooth Wi-Fi", text + " Asks for your password once.", false, false, {}}};
  setup.steps[2].buttons = {button("Anna's iMac"),
                            button("The R&B room's rather long computer name 01")};
  setup.steps[3].buttons = {button("Make it smooth")};
  setup.openAtLoginTitle = "Open Tessaline at login";
  setup.opensAtLogin = true;
  setup.setOpensAtLogin = [&done](bool on) { done += on ? "login|" : "no login|"; };
  setup.switchQuestion = "Is this the Mac you want as the extra screen?";
  setup.switchRole = button("Switch to extra screen");
  setup.done = button("Done");
  return setup;
}

HomeScreen sampleHomeScreen(std::string& done) {
  HomeScreen home;
  home.title = "Ready to be your extra screen";
  home.line = "Leave this window open. Your main Mac does the rest.";
  home.status = "Waiting for your main Mac…";
  home.openAtLogin = {"Open Tessaline at login", true,
                      [&done](bool on) { done += on ? "login|" : "no login|"; }};
  home.keepAwake = {"Keep this Mac awake, so it's always ready", false,
                    [&done](bool on) { done += on ? "awake|" : "asleep|"; }};
  home.address = "This Mac: 192.168.178.43";
  home.switchRole = {"Is this the Mac you work on?", "Use this Mac as the main Mac instead",
                     [&done] { done += "switch|"; }};
  home.steps.assign(3, {"Pick “Anna's very old but still beautiful iMac 27”",
                        "From the smiling screen in your main Mac's menu bar."});
  return home;
}

/// A server that nobody connects to.
struct Server {
  test::VirtualQueues queues;
  test::FakeDesktop desktop;
  test::FakeCoding coding;
  test::FakeNetwork network;
  const test::TemporaryFolder folder;
  UserDefaults defaults{folder.path() / "defaults.json"};
  ApprovedDevices approved{defaults};
  WebScreenServer server{{queues, desktop, coding, network}, defaults, approved};
};

/// Windows as the X server shows them.
class ShownWindows : public testing::Test {
 protected:
  void SetUp() override {
    if (QGuiApplication::platformName() != "xcb") GTEST_SKIP() << "no private X server";
    QFont font = QApplication::font();
    font.setFamily("DejaVu Sans");  // with taller letters windows scroll
    QApplication::setFont(font);
  }
  void TearDown() override { QApplication::setPalette(palette(false)); }

  /// What the screen shows where the window is. People who name a folder find it there.
  static QImage shot(const QWidget& window, const QString& name) {
    EXPECT_TRUE(QTest::qWaitForWindowExposed(window.windowHandle()));
    QTest::qWait(100);  // the server paints after the toolkit
    const QRect where(window.mapToGlobal(QPoint()), window.size());
    QScreen* screen = QGuiApplication::primaryScreen();
    const QImage image =
        screen->grabWindow(0, where.x(), where.y(), where.width(), where.height()).toImage();
    const QString folder = qEnvironmentVariable("TESSALINE_SCREENSHOTS");
    if (!folder.isEmpty()) image.save(QDir(folder).filePath(name + ".png"));
    return image;
  }

  /// Nothing is cut off, nothing lacks a name, and the ground follows the palette.
  static void expectWellShown(QWidget& window, const QString& name) {
    for (const bool dark : {false, true}) {
      QApplication::setPalette(palette(dark));
      const QImage image = shot(window, name + (dark ? "-dark" : "-light"));
      const int ground = qGray(image.pixel(4, image.height() - 4));
      EXPECT_TRUE(dark ? ground < 60 : ground > 200) << name.toStdString() << ": " << ground;
    }
    for (const auto* label : window.findChildren<QLabel*>()) {
      const auto* const words = dynamic_cast<const TextView*>(label);
      if (!words || !words->isVisible() || words->text().isEmpty()) continue;
      EXPECT_GE(words->height(), words->hasHeightForWidth() ? words->heightForWidth(words->width())
                                                            : words->fontMetrics().ascent())
          << name.toStdString() << ": " << words->words().toStdString();
    }
    for (const auto* bar : window.findChildren<QScrollBar*>()) EXPECT_FALSE(bar->isVisible());
    for (auto* widget : window.findChildren<QWidget*>()) {
      if (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisible()) continue;
      EXPECT_FALSE(QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name).isEmpty())
          << name.toStdString() << ": " << widget->metaObject()->className();
    }
  }

  /// Goes around with Tab and presses Space wherever that does something.
  static void pressEverything(QWidget& window) {
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    std::set<const QWidget*> pressed;
    while (auto* button = qobject_cast<QAbstractButton*>(window.focusWidget())) {
      if (!pressed.insert(button).second) break;
      QTest::keyClick(button, Qt::Key_Space);
      QTest::keyClick(button, Qt::Key_Tab);
    }
  }

  std::string done_;
};

TEST_F(ShownWindows, TheHomeWindowShowsEverythingAndWorksByKeyboard) {
  HomeScreen content = sampleHomeScreen(done_);
  HomeWindow window(content);
  window.bringToFront();
  EXPECT_EQ(window.size(), QSize(500, 600));
  expectWellShown(window, "home");
  pressEverything(window);
  EXPECT_EQ(done_, "no login|awake|switch|");
  content.switchRole.reset();
  window.setContent(content);
  for (auto* button : window.findChildren<QAbstractButton*>()) {
    EXPECT_EQ(button->isVisible(), !button->text().startsWith("Use this")) << "no main role here";
  }
}

TEST_F(ShownWindows, TheSetupAssistantKeepsUpAndWorksByKeyboard) {
  SetupAssistant content = sampleSetupAssistant(done_);
  SetupAssistantWindow window([&] { return content; });
  window.bringToFront();
  EXPECT_EQ(window.size(), QSize(520, 720));
  expectWellShown(window, "setup");
  content.steps[1].buttons = {{"Open Settings", [this] { done_ += "settings|"; }}};
  ASSERT_TRUE(QTest::qWaitFor([&] {
    const auto buttons = window.findChildren<QAbstractButton*>();
    return std::ranges::any_of(buttons, [](auto* b) { return b->text() == "Open Settings"; });
  })) << "the window looks again once a second";
  pressEverything(window);
  EXPECT_EQ(done_,
            "Done|settings|Anna's iMac|The R&B room's rather long computer name 01|"
            "Make it smooth|Switch to extra screen|no login|")
      << "from what a Return on the fresh window means, around to the button that came";
}

TEST_F(ShownWindows, TheMenuActsByKeyboardAsAWindowToo) {
  StatusMenu menu = sampleStatusMenu(done_);
  StatusMenuWindow window([&] { return menu; });
  window.bringToFront();
  expectWellShown(window, "menu-window");
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  const auto press = [&](Qt::Key key, int times = 1) {
    while (times-- > 0) QTest::keyClick(window.focusWidget(), key);
  };
  press(Qt::Key_Down);
  press(Qt::Key_Return);
  press(Qt::Key_Down, 4);
  press(Qt::Key_Right);
  expectWellShown(window, "menu-window-open");
  press(Qt::Key_Down, 2);
  press(Qt::Key_Return);
  EXPECT_EQ(std::exchange(done_, {}), "Stop Extra Screen|Another Mac (Best Quality)…|");
  // What opened stays open, and the keyboard where it is, while the menu changes.
  menu.header = {"Ready", StatusDot::grey};
  window.refresh();
  press(Qt::Key_Return);
  press(Qt::Key_Up, 2);
  press(Qt::Key_Left);
  press(Qt::Key_Down);
  press(Qt::Key_Return);
  EXPECT_EQ(done_, "Another Mac (Best Quality)…|Quit Tessaline|");

  StatusMenuView popup([&] { return menu; });
  popup.popup({40, 40});
  expectWellShown(popup, "menu");
  for (const auto key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}) QTest::keyClick(&popup, key);
  EXPECT_TRUE(done_.ends_with("|Stop Extra Screen|")) << done_;
}

TEST_F(ShownWindows, TheChooserAndTheAlertAreWholeAndWorkByKeyboard) {
  for (const bool supported : {true, false}) {
    ModeChooserWindow window(supported, mainMenu());
    std::string chosen;
    window.onChoose = [&](AppMode mode) { chosen += std::string(mode.text()) + " "; };
    window.onMenu = [&](MenuAction action) { chosen += action == MenuAction::quit ? "quit" : "?"; };
    window.bringToFront();
    expectWellShown(window, supported ? "chooser" : "chooser-unsupported");
    pressEverything(window);
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(chosen, supported ? "main screen quit" : "screen quit");
    QTest::keyClick(&window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window.isVisible());
  }
  MacHelpWindow help;
  help.bringToFront();
  AlertWindow* alert = nullptr;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->isVisible()) alert = dynamic_cast<AlertWindow*>(widget);
  }
  ASSERT_NE(alert, nullptr);
  expectWellShown(*alert, "help");
  QTest::keyClick(alert, Qt::Key_Return);
  EXPECT_FALSE(alert->isVisible());
}

TEST_F(ShownWindows, AReaderFindsTheLinkInTheCode) {
  if (QStandardPaths::findExecutable("zbarimg").isEmpty()) GTEST_SKIP() << "zbarimg is missing";
  Server serving;
  LinkWindow window(serving.server);
  window.bringToFront();
  EXPECT_EQ(window.size(), QSize(380, 460));
  expectWellShown(window, "link");
  const QTemporaryDir folder;
  const auto read = [&] {
    const QString file = folder.filePath("window.png");
    shot(window, "link-read").save(file);
    QProcess reader;
    reader.start("zbarimg", {"--quiet", "--raw", file});
    reader.waitForFinished();
    return reader.readAllStandardOutput().trimmed().toStdString();
  };
  const auto* link = window.findChild<QLineEdit*>();
  const std::string first = serving.server.url();
  EXPECT_EQ(read(), first);
  EXPECT_EQ(link->text().toStdString(), first);
  for (auto* button : window.findChildren<QAbstractButton*>()) {
    if (button->text() == "New Link") button->click();
  }
  EXPECT_NE(serving.server.url(), first);
  EXPECT_EQ(read(), serving.server.url());
  EXPECT_EQ(link->text().toStdString(), serving.server.url());
}

}  // namespace
}  // namespace tessaline

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  std::string problem;
  const auto server = tessaline::test::PrivateXServer::start(problem, {1280, 900});
  if (server) {
    qputenv("DISPLAY", server->display().c_str());
  } else {
    std::cerr << problem << '\n';
  }
  qputenv("QT_QPA_PLATFORM", server ? "xcb" : "offscreen");
  const tessaline::test::SessionBus bus;
  const QApplication application(argc, argv);
  QApplication::setStyle("Fusion");
  QApplication::setPalette(tessaline::palette(false));
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
