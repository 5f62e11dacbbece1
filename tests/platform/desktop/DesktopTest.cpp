#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>

#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/LoginEntry.h"
#include "support/Program.h"
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
