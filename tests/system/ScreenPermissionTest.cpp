#include "system/ScreenPermission.h"

#include <gmock/gmock.h>

#include "support/FakeCaptureAccess.h"
#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ScreenPermissionTest, GivesTheSystemsOwnQuestionTimeBeforeTheSettingsOpen) {
  test::VirtualQueues queues;
  const test::TemporaryFolder folder;
  UserDefaults defaults(folder.path() / "defaults.json");
  test::FakeWorkspace workspace;
  test::FakeCaptureAccess access;
  ScreenPermission permission(access, workspace, queues.main(), defaults);
  const auto settings =
      "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

  access.allowed = false;
  permission.request();
  EXPECT_EQ(access.requests, 1);
  EXPECT_EQ(access.trials, 1);
  EXPECT_EQ(defaults.boolean("screenPromptShown"), true);
  queues.advance(999ms);
  EXPECT_EQ(access.trials, 1);
  queues.advance(1ms);
  EXPECT_EQ(access.trials, 0) << "the capture that nobody looks at has ended";
  queues.advance(999ms);
  EXPECT_THAT(workspace.opened, IsEmpty());
  queues.advance(1ms);
  EXPECT_THAT(workspace.opened, ElementsAre(settings));

  access.canTry = false;
  permission.request();
  queues.run();
  EXPECT_THAT(workspace.opened, ElementsAre(settings, settings)) << "at once";

  access.allowed = true;
  permission.request();
  queues.advance(10s);
  EXPECT_EQ(workspace.opened.size(), 2U) << "there is nothing to set any more";
}

}  // namespace
}  // namespace tessaline
