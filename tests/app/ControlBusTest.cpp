#include "app/ControlBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "app/ctl/Status.h"
#include "base/AsioQueue.h"
#include "base/SafeText.h"
#include "platform/linux/desktop/ApplicationFolders.h"
#include "platform/linux/desktop/DBusControl.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

using test::Program;
using testing::HasSubstr;

/// A running application without its screens: real approvals, real bus, the real tessalinectl.
class ControlBusTest : public testing::Test,
                       protected ControlBus::Application,
                       protected ControlBus::Main {
 protected:
  void SetUp() override {
    if (!test::SessionBus::available()) GTEST_SKIP() << "dbus-daemon is not installed";
    ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    bus_ = std::make_unique<test::SessionBus>();
    run();
  }
  void TearDown() override { stop(); }

  void run() {
    onMain([this] {
      approved_ = std::make_unique<ApprovedDevices>(defaults_);
      subscription_ = approved_->observe([this] { endpoint_->announceChange(); });
      endpoint_ =
          platform::DBusControl::serve(platform::ApplicationFolders::fromEnvironment().busName,
                                       control_.requests(), queues_.main());
    });
    // The endpoint takes its name in its own time.
    EXPECT_TRUE(test::eventually([] { return ctl({"status"}).first == 0; }));
  }
  void stop() {
    onMain([this] {
      endpoint_.reset();
      subscription_.reset();
      approved_.reset();
    });
  }
  void onMain(const Queue::Work& work) { queues_.main()->sync(work); }

  std::string_view role() const override { return "main"; }
  ControlBus::Main* mainRole() override { return this; }
  std::string screenStatus() const override { return {}; }
  ControlBus::Service service() const override {
    return {"http://192.0.2.1:7790/#k=abc", "abc", false, {}, {"Anna's iMac", "Büro\033[31m"}, ""};
  }
  ApprovedDevices& approvedDevices() override { return *approved_; }
  Result<std::string> startScreen(const std::string& name) override { return name; }
  void stopScreens() override {}
  int bitrate() const override { return 0; }
  void setBitrate(int) override {}
  bool activate() override { return true; }
  void switchMode() override {}
  void quit() override {
    // The real one ends its process; here the endpoint goes, from a later turn as there.
    queues_.main()->async([this] { endpoint_.reset(); });
  }

  void deviceAsks(const std::string& id, const std::string& name) {
    onMain([&] {
      Hello hello;
      hello.deviceID = id;
      hello.deviceName = name;
      approved_->ask(hello, [this, id](bool allowed) {
        answers_ += id + (allowed ? " allowed, " : " refused, ");
      });
    });
  }
  std::string answers() {
    std::string answers;
    onMain([&] { answers = std::exchange(answers_, {}); });
    return answers;
  }

  static std::pair<int, std::string> ctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TESSALINECTL);
    Program program(arguments);
    const int code = program.wait();
    return {code, program.output()};
  }

  const test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  std::unique_ptr<test::SessionBus> bus_;
  AsioQueues queues_;
  std::string answers_;
  std::unique_ptr<ApprovedDevices> approved_;
  Subscription subscription_;
  ControlBus control_{*this};
  std::unique_ptr<platform::ControlEndpoint> endpoint_;
};

TEST_F(ControlBusTest, TellsWhoAsksWithoutHarmToTheTerminal) {
  deviceAsks("id-7", "An\"na\033[31m\n");
  const auto [jsonCode, json] = ctl({"status", "--json"});
  const auto status = ctl::Status::parse(json);
  ASSERT_TRUE(status) << json;
  ASSERT_EQ(status->pending.size(), 1U);
  EXPECT_EQ(status->pending[0].question, "Use “An\"na?[31m?” as your extra screen?");

  const auto [humanCode, human] = ctl({"status"});
  EXPECT_EQ(humanCode, 0);
  EXPECT_THAT(human, HasSubstr("#1  An\"na?[31m?  (id-7)"));
  EXPECT_EQ(human.find('\033'), std::string::npos) << "a device's name reached the terminal raw";
}

TEST_F(ControlBusTest, AnswersTheDeviceThatIsMeant) {
  EXPECT_EQ(ctl({"allow"}).first, 1) << "nobody asks";
  deviceAsks("first", "One");
  EXPECT_EQ(ctl({"allow"}), std::pair(0, std::string("allowed: One\n")));
  EXPECT_EQ(answers(), "first allowed, ");

  // A device may call itself anything, also the number of another one's question.
  deviceAsks("second", "Two");
  deviceAsks("#2", "Impostor");
  EXPECT_EQ(ctl({"allow"}).first, 1) << "two ask, and none is named";
  EXPECT_EQ(ctl({"deny", "nobody"}).first, 1);
  EXPECT_EQ(answers(), "");
  EXPECT_EQ(ctl({"deny", "#2"}), std::pair(0, std::string("not allowed: Two\n")));
  EXPECT_EQ(ctl({"allow", "#3"}), std::pair(0, std::string("allowed: Impostor\n")));
  EXPECT_EQ(answers(), "second refused, #2 allowed, ");
}

TEST_F(ControlBusTest, TheConsoleAnswersWithSingleKeys) {
  deviceAsks("early", "Early");
  Program terminal({TESSALINECTL, "console"}, {}, Program::Terminal::pseudo);
  ASSERT_TRUE(terminal.waitFor("Use “Early” as your extra screen?")) << terminal.output();
  EXPECT_THAT(terminal.output(), HasSubstr("can be the screen: Büro?[31m"));
  terminal.write("xa");
  ASSERT_TRUE(terminal.waitFor("allowed: Early")) << terminal.output();

  deviceAsks("late", "Late\a\033]0;x");
  ASSERT_TRUE(terminal.waitFor("Use “Late??]0;x” as your extra screen?")) << terminal.output();
  terminal.write("d");
  ASSERT_TRUE(terminal.waitFor("not allowed: Late"));

  deviceAsks("third", "Third");
  ASSERT_TRUE(terminal.waitFor("“Third”"));
  EXPECT_EQ(ctl({"allow"}).first, 0);
  ASSERT_TRUE(terminal.waitFor("(answered elsewhere)")) << terminal.output();
  EXPECT_EQ(answers(), "early allowed, late refused, third allowed, ");

  terminal.write("q");
  EXPECT_EQ(terminal.wait(), 0) << terminal.output();
  EXPECT_THAT(terminal.output(), HasSubstr("Tessaline has ended."));
}

TEST_F(ControlBusTest, TheConsoleNeedsNoTerminalAndEndsWithTheApplication) {
  Program watcher({TESSALINECTL, "console"});
  ASSERT_TRUE(watcher.waitFor("the second link")) << watcher.output();
  deviceAsks("id", "Anna");
  ASSERT_TRUE(watcher.waitFor("tessalinectl allow '#1'")) << watcher.output();
  stop();
  EXPECT_EQ(watcher.wait(), 3);
  EXPECT_THAT(watcher.output(), HasSubstr("Tessaline has ended."));
}

TEST_F(ControlBusTest, TheConsoleLeavesTheTerminalAsItWas) {
  Program shell(
      {"sh", "-c", "trap : INT; stty -g; " TESSALINECTL " console; echo code=$?; stty -g"}, {},
      Program::Terminal::pseudo);
  ASSERT_TRUE(shell.waitFor("q ends")) << shell.output();
  shell.write("\x03");
  EXPECT_EQ(shell.wait(), 0) << shell.output();
  const std::string& output = shell.output();
  const std::string before = output.substr(0, output.find('\n') + 1);
  EXPECT_THAT(output, HasSubstr("code=130\r\n" + before));
}

TEST_F(ControlBusTest, LosingTheBusDoesNotHurtTheApplication) {
  bus_.reset();
  onMain([this] { endpoint_->announceChange(); });
  bus_ = std::make_unique<test::SessionBus>();
  EXPECT_EQ(ctl({"status"}).first, 3);
  stop();
  run();
  EXPECT_EQ(ctl({"status"}).first, 0) << "a fresh endpoint works on the fresh bus";
}

TEST(ControlBusWithoutABus, TheApplicationWorksWithout) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  AsioQueues queues;
  const auto endpoint = platform::DBusControl::serve("app.tessaline", {}, queues.main());
  endpoint->announceChange();
  const auto reply =
      platform::DBusControl::client("app.tessaline")->request("Status", std::nullopt);
  EXPECT_EQ(reply.problem, platform::ControlClient::Problem::notReachable);
}

TEST(Printable, LeavesLettersAndNothingThatATerminalObeys) {
  EXPECT_EQ(withoutControls("Größe “é” 屏幕 🖥️"), "Größe “é” 屏幕 🖥️");
  EXPECT_EQ(withoutControls("a\x1b[2Jb\u009bc\u202ed\u2066e\x7f"), "a?[2Jb?c?d?e?");
}

}  // namespace
}  // namespace tessaline
