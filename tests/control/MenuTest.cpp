#include "control/ControllerFixture.h"
#include "streaming/Messages.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using Kind = StatusMenuItem::Kind;

// A menu as a person would note it down: "✓" checked, "(…)" disabled, "{symbol}", "<tooltip>",
// "^⌥⌘s" the key, submenus indented.
std::string text(const std::vector<StatusMenuItem>& items, const std::string& indent = "") {
  std::string result;
  for (const auto& item : items) {
    result += indent;
    if (item.kind == Kind::separator) result += "---";
    if (item.kind == Kind::sectionHeader) result += "# ";
    if (item.checked) result += "✓ ";
    result += item.enabled ? item.title : "(" + item.title + ")";
    if (!item.symbol.empty()) result += " {" + item.symbol + "}";
    if (item.key != 0) {
      result += item.controlOptionCommand ? " ⌃⌥⌘" : " ⌘";
      result += item.key;
    }
    if (!item.toolTip.empty()) result += " <" + item.toolTip + ">";
    result += "\n" + text(item.submenu, indent + "  ");
  }
  return result;
}

std::string text(const SetupAssistant& setup) {
  std::string result = setup.title + "\n" + setup.line + "\n";
  for (const auto& step : setup.steps) {
    result += step.done ? "✓ " : step.busy ? "… " : "- ";
    result += step.title + ": " + step.text;
    for (const auto& button : step.buttons) result += " [" + button.title + "]";
    result += "\n";
  }
  return result;
}

class MenuTest : public test::ControllerFixture {
 protected:
  /// Header and everything up to "Add a Screen": what depends on screens.
  std::string head() {
    const auto menu = controller_->statusMenu();
    constexpr const char* dots[] = {"grey", "orange", "green", "red"};
    const std::string all = text(menu.items);
    return std::string(dots[static_cast<int>(menu.header.dot)]) + ": " + menu.header.status + "\n" +
           all.substr(0, all.find("Add a Screen"));
  }
  /// The rest.
  std::string tail() {
    const std::string all = text(controller_->statusMenu().items);
    return all.substr(all.find("Add a Screen"));
  }
};

constexpr auto kRest =
    "Add a Screen {plus.rectangle.on.rectangle}\n"
    "  Phone, Tablet or Computer (Scan a QR Code)… {qrcode} "
    "<Nothing to install: open the link in a browser on the device.>\n"
    "  Another Mac (Best Quality)… {desktopcomputer} <Install Tessaline on the other Mac too. "
    "Smoothest option, ideal for an older iMac or MacBook.>\n"
    "---\n"
    "Settings {gearshape}\n"
    "  # AirDrop while the extra screen is on\n"
    "  ✓ Pause only while things move (recommended)\n"
    "  Always pause\n"
    "  Never pause\n"
    "  ---\n"
    "  ✓ Touch Control on Phones and Tablets\n"
    "  Forget Allowed Screens\n"
    "  Open at Login\n"
    "  ---\n"
    "  Setup Assistant…\n"
    "Support Tessaline ☕…\n"
    "Quit Tessaline ⌘q\n";

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  text.replace(text.find(what), what.size(), with);
  return text;
}

TEST_F(MenuTest, FollowsTheScreensThroughAWholeDay) {
  launch();
  EXPECT_EQ(head() + tail(),
            "grey: Looking for your other Mac…\n---\n# Screens\n"
            "(Open Tessaline on your other Mac)\n" +
                std::string(kRest));
  show({"B", "A"});
  EXPECT_EQ(head(),
            "grey: Ready\nStart Extra Screen on A {play.circle} ⌃⌥⌘s\n---\n# Screens\n"
            "A {display}\nB {display}\n");
  controller_->setLastReceiver("C");
  EXPECT_EQ(head(), "grey: Ready\n---\n# Screens\nA {display}\nB {display}\n")
      << "the last screen is not there";

  choose("B");
  const auto screen = connected();
  EXPECT_EQ(head(),
            "orange: Connecting to B…\nStop Extra Screen {stop.circle} ⌃⌥⌘s\n---\n# Screens\n"
            "A {display}\n✓ B {display}\n");
  EXPECT_FALSE(controller_->live());
  stream(*screen);
  EXPECT_TRUE(controller_->live());
  streamToBrowser("Phone");
  const auto tablet = streamToBrowser("Tablet");
  network_.browse(queues_);
  const std::string browsers =
      "✓ Phone {globe} <Click to disconnect>\n✓ Tablet {globe} <Click to disconnect>\n"
      "✓ Browser 192.0.2.7 {globe} <Click to disconnect>\n";
  EXPECT_EQ(head(),
            "green: Live on B, Phone, Tablet\nStop Extra Screen {stop.circle} ⌃⌥⌘s\n---\n"
            "# Screens\nA {display}\n✓ B {display}\n" +
                browsers);
  show({});
  choose("Tablet");
  queues_.advance(1s);
  EXPECT_THAT(tablet->sent, testing::Contains(Bytes{Proto::bye}));
  lose(*screen);
  EXPECT_EQ(head(), "green: Live on Phone\nStop Extra Screen {stop.circle} ⌃⌥⌘s\n---\n# Screens\n" +
                        replaced(browsers, "✓ Tablet {globe} <Click to disconnect>\n", ""));
  choose("Stop Extra Screen");
  queues_.advance(1s);
  EXPECT_EQ(head(),
            "grey: Looking for your other Mac…\n---\n# Screens\n"
            "(Open Tessaline on your other Mac)\n");

  show({"B"});
  choose("Start Extra Screen on B");
  const auto blocked = connected();
  blocked->denied = true;
  blocked->report(platform::ConnectionState::waiting);
  queues_.run();
  EXPECT_EQ(head(), "red: " + std::string(Messages::localNetwork) +
                        "\nAllow Local Network Access… {exclamationmark.triangle.fill}\n"
                        "Start Extra Screen on B {play.circle} ⌃⌥⌘s\n---\n# Screens\n"
                        "B {display}\n");
}

TEST_F(MenuTest, AScreensItemIsASwitch) {
  launch();
  show({"A", "B"});
  choose("A");
  const auto screen = connected();
  choose("A");
  lose(*screen);
  queues_.advance(1min);
  EXPECT_EQ(controller_->activeName(), std::nullopt) << "stopped, and it stays so";
  choose("A");
  connected();
  choose("B");
  EXPECT_EQ(controller_->activeName(), "B");
  const auto stale = controller_->statusMenu();
  controller_.reset();
  for (const auto& item : stale.items) {
    if (item.action) item.action();  // a menu that is still open does no harm
  }
}

TEST_F(MenuTest, SettingsShowAndChangeWhatTheySay) {
  launch();
  commands_->files = {"/etc/sudoers.d/tessaline"};
  const std::string rest = kRest;
  const std::string moving = "  ✓ Pause only while things move (recommended)\n";
  const std::string unchecked = "  Pause only while things move (recommended)\n";
  choose("Always pause");
  EXPECT_EQ(tail(), replaced(replaced(rest, moving, unchecked), "Always", "✓ Always"));
  choose("Never pause");
  EXPECT_EQ(tail(), replaced(replaced(rest, moving, unchecked), "Never", "✓ Never"));
  choose("Pause only while things move (recommended)");
  const int before = changes_;
  choose("Touch Control on Phones and Tablets");
  EXPECT_EQ(defaults_.boolean("touchControl"), false);
  choose("Open at Login");
  EXPECT_GE(changes_, before + 2) << "observers are told";
  EXPECT_EQ(tail(), replaced(replaced(rest, "✓ Touch", "Touch"), "Open at", "✓ Open at"));
  choose("Touch Control on Phones and Tablets");
  choose("Open at Login");
  EXPECT_EQ(tail(), rest);
  controller_->approvedDevices().add("id", "Tablet");
  choose("Forget Allowed Screens");
  EXPECT_FALSE(controller_->approvedDevices().contains("id"));
  commands_->exists = false;
  const auto section = rest.find("  # AirDrop");
  EXPECT_EQ(tail(), replaced(rest, rest.substr(section, rest.find("  ✓ Touch") - section), ""))
      << "without the radio link there is nothing to choose";
}

TEST_F(MenuTest, TheOtherItemsOpenWhatTheyName) {
  launch();
  discovery_.report(platform::ServiceBrowser::State::failed, -65570);
  queues_.run();
  choose("Phone, Tablet or Computer (Scan a QR Code)…");
  choose("Another Mac (Best Quality)…");
  choose("Setup Assistant…");
  EXPECT_THAT(windows_.events, ElementsAre("qr", "mac help", "regular", "onboarding"));
  choose("Allow Local Network Access…");
  choose("Support Tessaline ☕…");
  defaults_.set("supportURL", "https://example.org/help");
  choose("Support Tessaline ☕…");
  EXPECT_THAT(
      workspace_.opened,
      ElementsAre("x-apple.systempreferences:com.apple.preference.security?Privacy_LocalNetwork",
                  "https://tessaline.app/support", "https://example.org/help"));
  choose("Quit Tessaline");
  EXPECT_EQ(terminations_, 1);
}

constexpr auto kFour = "Four quick steps and your other Mac becomes an extra screen.\n";
constexpr auto kScreen = "Let Tessaline show your extra screen: ";
constexpr auto kAsks =
    "macOS asks for Screen Recording. Tessaline only sends the extra screen to your other Mac.";
constexpr auto kOther =
    "The other Mac: On the other Mac, open Tessaline and choose “Make this an extra screen”. Same "
    "Wi-Fi.";
constexpr auto kSmooth =
    "Smooth Wi-Fi: Pauses AirDrop only while things move on the extra screen, so Wi-Fi stays "
    "steady. Asks for your password once.";

TEST_F(MenuTest, TheAssistantLeadsFromNothingToAPicture) {
  launch();
  access_.allowed = false;
  const auto setup = [this] { return text(controller_->setupAssistant()); };
  const std::string title = "Set up your extra screen\n";
  const std::string find = "Let it find your other Mac: ";
  EXPECT_EQ(setup(), title + kFour + "- " + kScreen + kAsks + " [Allow]\n- " + find +
                         "macOS may ask to find devices on your network. Click Allow.\n- " +
                         kOther + "\n- " + kSmooth + " [Make it smooth]\n");
  controller_->setupAssistant().steps[0].buttons[0].action();
  EXPECT_EQ(access_.requests, 1);
  show({"B", "A"});
  EXPECT_EQ(setup(), title + kFour + "- " + kScreen +
                         "Turn on Tessaline in the list that just opened. Not there? Drag "
                         "Tessaline from Finder into the list. [Show in Finder]\n… " +
                         find + "Checking that macOS lets Tessaline connect…\n- " + kOther +
                         " [A] [B]\n- " + kSmooth + " [Make it smooth]\n");
  controller_->setupAssistant().steps[0].buttons[0].action();
  EXPECT_EQ(access_.reveals, 1);
  access_.allowed = true;
  network_.answerProbe(platform::Reachability::blocked);
  controller_->setupAssistant().steps[3].buttons[0].action();
  controller_->setupAssistant().steps[2].buttons[1].action();
  EXPECT_EQ(setup(), title + kFour + "✓ " + kScreen + kAsks + "\n- " + find +
                         "macOS is blocking the connection. Turn on Tessaline in Local Network "
                         "settings. [Open Settings]\n… " +
                         kOther + " [A] [B]\n… " + kSmooth + "\n");
  commands_->files = {"/etc/sudoers.d/tessaline"};
  stream(*connected());
  EXPECT_EQ(setup(), title + "Your extra screen is on. You're all set.\n✓ " + kScreen + kAsks +
                         "\n✓ " + find + "Tessaline can reach your other Mac on this network.\n" +
                         "✓ Your extra screen is on: B is showing your extra screen. Drag a "
                         "window to it, or stop anytime from the menu bar (⌃⌥⌘S).\n✓ " +
                         kSmooth + "\n");
  commands_->exists = false;
  EXPECT_EQ(controller_->setupAssistant().steps.size(), 3U);

  auto last = controller_->setupAssistant();
  last.setOpensAtLogin(true);
  EXPECT_TRUE(workspace_.atLogin);
  EXPECT_TRUE(controller_->setupAssistant().opensAtLogin);
  last.done.action();
  EXPECT_EQ(windows_.events.back(), "accessory");
  bool switched = false;
  controller_->onSwitchMode = [&] { switched = true; };
  last.switchRole.action();
  queues_.advance(1s);
  EXPECT_TRUE(switched);
}

}  // namespace
}  // namespace tessaline
