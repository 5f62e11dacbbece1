#include <gtest/gtest.h>

#include "shell/DeviceIdentity.h"
#include "shell/KeepAwake.h"
#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

TEST(DeviceIdentity, StaysTheSameAcrossRuns) {
  const test::TemporaryFolder folder;
  const auto identity = [&] {
    UserDefaults defaults(folder.path() / "defaults.json");
    return DeviceIdentity::id(defaults);
  };
  const auto first = identity();
  EXPECT_EQ(first.size(), 36U);
  EXPECT_EQ(identity(), first);
}

TEST(KeepAwake, IsWhatTheSettingSaysAndNeverTwice) {
  const test::TemporaryFolder folder;
  UserDefaults defaults(folder.path() / "defaults.json");
  test::FakeWorkspace workspace;
  KeepAwake awake(workspace, defaults);
  defaults.set("keepAwake", "no");
  EXPECT_TRUE(awake.preferred()) << "not a boolean";
  awake.apply();
  awake.setPreferred(true);
  EXPECT_EQ(workspace.begun, 1);
  EXPECT_TRUE(workspace.options.idleDisplaySleepDisabled &&
              workspace.options.idleSystemSleepDisabled && !workspace.options.latencyCritical);
  awake.setPreferred(false);
  EXPECT_EQ(workspace.activities, 0);
  awake.apply();
  EXPECT_EQ(workspace.begun, 1);
}

}  // namespace
}  // namespace tessaline
