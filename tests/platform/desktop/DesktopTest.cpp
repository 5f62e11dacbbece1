#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <map>

#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/LoginEntry.h"
#include "platform/linux/desktop/LoginPortal.h"
#include "platform/linux/desktop/SdBus.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using test::Program;

TEST(InstanceLock, BelongsToOneProcessUntilItEndsHoweverItEnds) {
  const test::TemporaryFolder folder;
  const auto file = folder.path() / "lock";
  Program other({"flock", "--no-fork", file, "sh", "-c", "echo held; exec sleep 1000"});
  ASSERT_TRUE(other.waitFor("held")) << other.output();
  InstanceLock lock(file);
  EXPECT_EQ(lock.acquire(20ms), InstanceLock::Outcome::taken) << "the wait has a limit";
  // A successor that waits gets it as soon as the first one is killed.
  auto waiting = std::async(std::launch::async, [&] { return lock.acquire(20s); });
  other.signal(SIGKILL);
  EXPECT_EQ(waiting.get(), InstanceLock::Outcome::held);
  EXPECT_EQ(Program({"flock", "--nonblock", file, "true"}).wait(), 1)
      << "given up waiting, the earlier attempt must not hold on to it";
}

TEST(Workspace, RelaunchStartsTheFileThatIsThereNowWithACleanSlate) {
  const test::TemporaryFolder folder;
  const auto program = folder.path() / "probe";
  std::filesystem::copy_file(DESKTOP_PROBE, program);
  Program probe({program});
  // Both processes write to one pipe: its end is the end of both.
  probe.wait();
  EXPECT_THAT(probe.output(), testing::HasSubstr("successor files=0 ignored=0 blocked=0 again=0"));
}

/// sdbus-c++ 1 points to the message, 2 hands it over.
std::string senderOf(const auto& message) {
  if constexpr (std::is_pointer_v<std::decay_t<decltype(message)>>) {
    return message->getSender();
  } else {
    return message.getSender();
  }
}

TEST(LoginPortal, KeepsWhatTheDesktopHasGranted) {
  if (!test::SessionBus::available()) GTEST_SKIP() << "dbus-daemon is not installed";
  const test::TemporaryFolder folder;
  ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  const test::SessionBus bus;
  using Values = std::map<std::string, sdbus::Variant>;
  const auto connection = sdbus::createSessionBusConnection();
  bus::Object portal(*connection, "/org/freedesktop/portal/desktop");
  std::unique_ptr<sdbus::IObject> answer;
  std::atomic<bool> grants = true;
  portal.method("org.freedesktop.portal.Background", "RequestBackground",
                [&](const std::string&, const Values& options) {
                  EXPECT_EQ(options.at("commandline").get<std::vector<std::string>>(),
                            std::vector<std::string>{"tessaline"});
                  std::string sender = senderOf(portal->getCurrentlyProcessedMessage());
                  std::ranges::replace(sender, '.', '_');
                  const sdbus::ObjectPath path("/org/freedesktop/portal/desktop/request/" +
                                               sender.substr(1) + "/" +
                                               options.at("handle_token").get<std::string>());
                  answer = sdbus::createObject(*connection, path);
                  const bool on = grants && options.at("autostart").get<bool>();
                  answer->emitSignal("Response")
                      .onInterface("org.freedesktop.portal.Request")
                      .withArguments(std::uint32_t{grants ? 0U : 1U},
                                     Values{{"autostart", sdbus::Variant(on)}});
                  return path;
                });
  portal.publish();
  connection->requestName(bus::ServiceName("org.freedesktop.portal.Desktop"));
  connection->enterEventLoopAsync();

  LoginPortal login;
  const auto becomes = [](bool on) {
    return test::eventually([&] { return LoginEntry::exists("app.tessaline") == on; });
  };
  login.request("app.tessaline", "/app/bin/tessaline", true);
  EXPECT_TRUE(becomes(true));
  login.request("app.tessaline", "/app/bin/tessaline", false);
  EXPECT_TRUE(becomes(false));
  LoginEntry::write("app.tessaline", "/app/bin/tessaline");
  grants = false;
  login.request("app.tessaline", "/app/bin/tessaline", true);
  EXPECT_TRUE(becomes(false)) << "a refusal is seen in the menu";
}

TEST(LoginEntry, IsWhereTheDesktopLooksAndSurvivesAnyPath) {
  const test::TemporaryFolder folder;
  ::setenv("XDG_CONFIG_HOME", (folder.path() / "config").c_str(), 1);
  const auto file = folder.path() / "config/autostart/app.tessaline.desktop";
  const std::string label = "app.tessaline";
  LoginEntry::write(label, R"(/opt/50% "off" $HOME\it)");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1)
      << "no temporary file stays";
  EXPECT_THAT(test::readFile(file), testing::HasSubstr(R"(
Exec="/opt/50%% \\"off\\" \\$HOME\\\\it"
)"));
  LoginEntry::remove(label);
  EXPECT_FALSE(LoginEntry::exists(label));
  ::unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace tessaline::platform
