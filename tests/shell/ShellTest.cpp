#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <regex>

#include "shell/AppMode.h"
#include "shell/DeviceIdentity.h"
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

}  // namespace
}  // namespace tessaline
