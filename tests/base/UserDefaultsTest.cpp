#include "base/UserDefaults.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

namespace fs = std::filesystem;

class UserDefaultsTest : public testing::Test {
 protected:
  void write(std::string_view text) {
    fs::create_directories(file_.parent_path());
    std::ofstream(file_) << text;
  }
  test::TemporaryFolder folder_;
  const fs::path file_ = folder_.path() / "tessaline" / "defaults.json";
};

TEST_F(UserDefaultsTest, KeepsValuesOfEveryTypeAcrossRunsAndPrivately) {
  {
    UserDefaults defaults(file_);
    EXPECT_FALSE(defaults.string("mode"));
    EXPECT_FALSE(fs::exists(file_));
    defaults.set("mode", "main");
    defaults.set("bitrate", std::int64_t{8'000'000'000});
    defaults.set("onboarded", true);
    defaults.set("approvedDevices", UserDefaults::Dictionary{{"id “1”", "Anna's iPad"}});
    defaults.set("gone", true);
    defaults.remove("gone");
  }
  const UserDefaults defaults(file_);
  EXPECT_EQ(defaults.string("mode"), "main");
  EXPECT_EQ(defaults.integer("bitrate"), 8'000'000'000);
  EXPECT_EQ(defaults.boolean("onboarded"), true);
  EXPECT_EQ(defaults.dictionary("approvedDevices")->at("id “1”"), "Anna's iPad");
  EXPECT_FALSE(defaults.boolean("gone"));
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(file_.parent_path()).permissions(), fs::perms(0700));
}

TEST_F(UserDefaultsTest, AValueOfAnotherTypeReadsAsAbsentAndUnknownKeysStay) {
  write(R"({"mode": 1, "bitrate": "fast", "onboarded": "yes", "ratio": 1.5,
            "approvedDevices": {"a": "A", "b": 2}, "future": {"deep": [1, null]}, "far": {"off": [-1e999, 0e999]}})");
  UserDefaults defaults(file_);
  EXPECT_FALSE(defaults.string("mode"));
  EXPECT_FALSE(defaults.integer("bitrate"));
  EXPECT_FALSE(defaults.integer("ratio"));
  EXPECT_FALSE(defaults.boolean("onboarded"));
  EXPECT_FALSE(defaults.dictionary("approvedDevices"));
  defaults.set("mode", "main");
  EXPECT_NE(test::readFile(file_).find(R"("future":{"deep":[1,null]})"), std::string::npos);
  EXPECT_EQ(UserDefaults(file_).string("mode"), "main");  // no number makes the file unreadable
}

TEST_F(UserDefaultsTest, AFileThatDoesNotParseIsSetAside) {
  for (const std::string_view junk : {"{\"mode\": \"ma", "[1]", "", "\xFF\xFE"}) {
    write(junk);
    UserDefaults defaults(file_);
    EXPECT_FALSE(defaults.string("mode"));
    EXPECT_EQ(test::readFile(file_.string() + ".broken"), junk);
    EXPECT_FALSE(fs::exists(file_));
    defaults.set("mode", "screen");
    EXPECT_EQ(UserDefaults(file_).string("mode"), "screen");
  }
}

TEST_F(UserDefaultsTest, ADiskThatIsFullLosesNeitherTheFileNorTheValueAndIsLoggedOnce) {
  UserDefaults defaults(file_);
  defaults.set("mode", "main");
  const std::string before = test::readFile(file_);
  rlimit usual{};
  ::getrlimit(RLIMIT_FSIZE, &usual);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  testing::internal::CaptureStderr();
  for (const rlim_t bytes : {rlim_t{500}, rlim_t{1000}, rlim_t{4096}}) {  // the log has to fit in
    const rlimit little{bytes, usual.rlim_max};
    const std::string value(bytes, 'a');
    ::setrlimit(RLIMIT_FSIZE, &little);
    defaults.set("name", value);
    ::setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(test::readFile(file_), before);
    EXPECT_EQ(defaults.string("name"), value);
    EXPECT_FALSE(fs::exists(file_.string() + ".new"));
  }
  std::signal(SIGXFSZ, handler);
  const std::string logged = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(logged, '\n'), 1) << logged;
  defaults.set("mode", "screen");
  EXPECT_EQ(UserDefaults(file_).string("mode"), "screen");
  EXPECT_EQ(UserDefaults(file_).string("name"), std::string(4096, 'a'));
}

}  // namespace
}  // namespace tessaline
