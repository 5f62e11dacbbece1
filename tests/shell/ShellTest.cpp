#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <regex>

#include "shell/AppMode.h"
#include "shell/DeviceIdentity.h"
#include "shell/Hotkey.h"
#include "shell/KeepAwake.h"
#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

TEST(AppMode, ReadsOnlyTheTwoStoredTexts) {
  const struct {
    const char* json;
    std::optional<AppMode> expected;
  } cases[] = {
      {R"({"mode":"main"})", AppMode::main},
      {R"({"mode":"screen"})", AppMode::screen},
      {R"({"mode":"MAIN"})", std::nullopt},
      {R"({"mode":"main "})", std::nullopt},
      {R"({"mode":""})", std::nullopt},
      {R"({"mode":1})", std::nullopt},
      {R"({})", std::nullopt},
  };
  for (const auto& [json, expected] : cases) {
    const test::TemporaryFolder folder;
    std::ofstream(folder.path() / "defaults.json") << json;
    EXPECT_EQ(AppMode::current(UserDefaults(folder.path() / "defaults.json")), expected) << json;
  }
}

TEST(AppMode, IsKeptAndRemovedWithoutTouchingTheIdentity) {
  const test::TemporaryFolder folder;
  const auto file = folder.path() / "defaults.json";
  std::string identity;
  {
    UserDefaults defaults(file);
    AppMode::setCurrent(defaults, AppMode::screen);
    identity = DeviceIdentity::id(defaults);
  }
  EXPECT_TRUE(std::regex_match(identity, std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")));
  {
    UserDefaults defaults(file);
    EXPECT_EQ(AppMode::current(defaults), AppMode::screen);
    AppMode::setCurrent(defaults, std::nullopt);
  }
  UserDefaults defaults(file);
  EXPECT_EQ(defaults.string("mode"), std::nullopt);
  EXPECT_EQ(DeviceIdentity::id(defaults), identity);
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
  EXPECT_EQ(workspace.reason, "Tessaline keeps this screen ready");
  awake.setPreferred(false);
  EXPECT_EQ(workspace.activities, 0);
  awake.apply();
  EXPECT_EQ(workspace.begun, 1);
}

TEST(Hotkey, IsRegisteredOnceAndRunsTheLatestAction) {
  test::FakeDesktop desktop;
  std::string ran;
  {
    Hotkey hotkey;
    hotkey.registerAction(desktop, [&] { ran += "a"; });
    EXPECT_EQ(desktop.hotKey, (platform::HotKey{'S', true, true, true}));
    desktop.hotKeyAction();
    desktop.hotKey.reset();
    hotkey.registerAction(desktop, [&] { ran += "b"; });
    EXPECT_FALSE(desktop.hotKey);
    desktop.hotKeyAction();
    hotkey.registerAction(desktop, nullptr);
    desktop.hotKeyAction();
  }
  EXPECT_EQ(ran, "ab");
  EXPECT_FALSE(desktop.hotKeyAction) << "let go with its owner";
}

}  // namespace
}  // namespace tessaline
