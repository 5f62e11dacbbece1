#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "base/AsioQueue.h"
#include "platform/linux/desktop/ApplicationFolders.h"
#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/LoginEntry.h"
#include "platform/linux/desktop/LoginPortal.h"
#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/desktop/TerminationSignals.h"
#include "support/Program.h"
#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using test::Program;

TEST(InstanceLock, BelongsToOneProcessUntilItEndsHoweverItEnds) {
  const test::TemporaryFolder folder;
  const auto file = folder.path() / "new" / "lock";
  Program other({DESKTOP_PROBE, "lock", file});
  ASSERT_TRUE(other.waitFor("held")) << other.output();
  InstanceLock lock(file);
  EXPECT_EQ(lock.acquire(20ms), InstanceLock::Outcome::taken) << "the wait has a limit";
  // A successor that waits gets it as soon as the first one is killed.
  auto waiting = std::async(std::launch::async, [&] { return lock.acquire(20s); });
  other.signal(SIGKILL);
  EXPECT_EQ(waiting.get(), InstanceLock::Outcome::held);
  Program third({DESKTOP_PROBE, "lock", file});
  EXPECT_EQ(third.wait(), 1) << "given up waiting, the earlier attempt must not hold on to it";
  EXPECT_EQ(InstanceLock("/proc/nowhere/lock").acquire(), InstanceLock::Outcome::failed);
}

TEST(Workspace, RelaunchStartsTheFileThatIsThereNowWithACleanSlate) {
  // The probe replaces its own file, as an upgrade does, opens a file and a socket that a careless
  // library would leak, ignores a signal, blocks another, and relaunches.
  const test::TemporaryFolder folder;
  const auto program = folder.path() / "probe";
  std::filesystem::copy_file(DESKTOP_PROBE, program);
  Program probe({program, "relaunch"});
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
  std::mutex mutex;
  std::vector<std::string> commands;  // guarded by mutex
  std::atomic<bool> grants = true;
  portal.method("org.freedesktop.portal.Background", "RequestBackground",
                [&](const std::string&, const Values& options) {
                  std::string sender = senderOf(portal->getCurrentlyProcessedMessage());
                  std::ranges::replace(sender, '.', '_');
                  const std::string path = "/org/freedesktop/portal/desktop/request/" +
                                           sender.substr(1) + "/" +
                                           options.at("handle_token").get<std::string>();
                  {
                    const std::lock_guard lock(mutex);
                    commands = options.at("commandline").get<std::vector<std::string>>();
                  }
                  answer = sdbus::createObject(*connection, sdbus::ObjectPath(path));
                  const bool on = grants && options.at("autostart").get<bool>();
                  answer->emitSignal("Response")
                      .onInterface("org.freedesktop.portal.Request")
                      .withArguments(std::uint32_t{grants ? 0U : 1U},
                                     Values{{"autostart", sdbus::Variant(on)}});
                  return sdbus::ObjectPath(path);
                });
  portal.publish();
  connection->requestName(bus::ServiceName("org.freedesktop.portal.Desktop"));
  connection->enterEventLoopAsync();

  LoginPortal login;
  const auto becomes = [](bool on) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (LoginEntry::exists("app.tessaline") != on && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    return LoginEntry::exists("app.tessaline") == on;
  };
  login.request("app.tessaline", "/app/bin/tessaline", true);
  EXPECT_TRUE(becomes(true));
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(commands, std::vector<std::string>{"tessaline"});
  }
  login.request("app.tessaline", "/app/bin/tessaline", false);
  EXPECT_TRUE(becomes(false));
  LoginEntry::write("app.tessaline", "/app/bin/tessaline");
  grants = false;
  login.request("app.tessaline", "/app/bin/tessaline", true);
  EXPECT_TRUE(becomes(false)) << "a refusal is seen in the menu";
}

TEST(TerminationSignals, ArriveOnTheMainQueueAndABrokenPipeDoesNot) {
  AsioQueues queues;
  std::vector<std::string> got;
  std::promise<void> both;
  std::optional<TerminationSignals> signals;
  queues.main()->sync([&] {
    signals.emplace(queues, [&](const char* name) {
      EXPECT_TRUE(queues.main()->isCurrent());
      got.emplace_back(name);
      got.size() == 1 ? static_cast<void>(std::raise(SIGINT)) : both.set_value();
    });
  });
  std::raise(SIGPIPE);
  std::raise(SIGTERM);
  both.get_future().get();
  EXPECT_THAT(got, testing::ElementsAre("SIGTERM", "SIGINT"));
  queues.main()->sync([&] { signals.reset(); });
}

TEST(LoginEntry, IsWhereTheDesktopLooksAndSurvivesAnyPath) {
  const test::TemporaryFolder folder;
  ::setenv("XDG_CONFIG_HOME", (folder.path() / "config").c_str(), 1);
  const auto file = folder.path() / "config/autostart/app.tessaline.desktop";
  const std::string label = "app.tessaline";
  EXPECT_FALSE(LoginEntry::exists(label));
  LoginEntry::write(label, R"(/opt/50% "off" $HOME\it)");
  LoginEntry::write(label, R"(/opt/50% "off" $HOME\it)");
  ASSERT_TRUE(std::filesystem::exists(file));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1)
      << "no temporary file stays";
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  EXPECT_THAT(text.str(), testing::HasSubstr(R"(
Exec="/opt/50%% \\"off\\" \\$HOME\\\\it"
)"));
  LoginEntry::remove(label);
  EXPECT_FALSE(LoginEntry::exists(label));
  std::ofstream(file).close();
  EXPECT_TRUE(LoginEntry::exists(label)) << "whatever it contains";
  ::unsetenv("XDG_CONFIG_HOME");
}

TEST(ApplicationFolders, FollowTheEnvironment) {
  const std::string own = "/home/a/.config/tessaline";
  const std::string ownSupport = "/home/a/.local/share/Tessaline";
  const struct {
    const char* config;
    const char* data;
    std::string configuration;
    std::string support;
  } cases[] = {{nullptr, nullptr, own, ownSupport},
               {"", "", own, ownSupport},
               {"relative", "relative", own, ownSupport},
               {"/home/b/../a/.config/", "/d", own, "/d/Tessaline"},
               {"/elsewhere", nullptr, "/elsewhere/tessaline", ownSupport}};
  ::setenv("HOME", "/home/a", 1);
  const auto set = [](const char* name, const char* value) {
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
  };
  for (const auto& c : cases) {
    set("XDG_CONFIG_HOME", c.config);
    set("XDG_DATA_HOME", c.data);
    const auto folders = ApplicationFolders::fromEnvironment();
    EXPECT_EQ(folders.configuration.lexically_normal(), c.configuration);
    EXPECT_EQ(folders.support, c.support);
    // A bus name is an interface between programs built at different times: it may not change.
    EXPECT_EQ(folders.busName,
              c.configuration == own ? "app.tessaline" : "app.tessaline.c1a4416d4a0ae53d2");
  }
}

}  // namespace
}  // namespace tessaline::platform
