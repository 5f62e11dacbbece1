#include "app/DesktopChoice.h"

#include <gmock/gmock.h>

#include "support/FakePlatform.h"

namespace tessaline {
namespace {

using testing::HasSubstr;

class DesktopChoiceTest : public testing::Test {
 protected:
  /// A way that opens, or says what it lacks.
  DesktopChoice::Way way(const std::string& name, const std::string& lacking = {}) {
    return {name, "the way " + name, [this, name, lacking]() -> DesktopChoice::Opened {
              tried_.push_back(name);
              if (!lacking.empty()) return Failure{lacking};
              return std::unique_ptr<platform::DesktopEnvironment>(
                  std::make_unique<test::FakeDesktop>());
            }};
  }

  std::vector<std::string> tried_;
};

TEST_F(DesktopChoiceTest, TakesTheFirstWayThatServesAndTriesNoOther) {
  const auto desktop = DesktopChoice::open({way("a", "no a here"), way("b"), way("c")});
  EXPECT_FALSE(desktop->limitation());
  EXPECT_EQ(tried_, (std::vector<std::string>{"a", "b"}));
  tried_.clear();
  EXPECT_FALSE(DesktopChoice::open({way("a"), way("b"), way("c")}, "c")->limitation());
  EXPECT_EQ(tried_, std::vector<std::string>{"c"});
}

TEST_F(DesktopChoiceTest, NamesEverythingThatIsMissingWhereNoneServes) {
  const auto desktop = DesktopChoice::open({way("a", "no portal"), way("b", "no outputs")});
  ASSERT_TRUE(desktop->limitation());
  EXPECT_THAT(*desktop->limitation(), HasSubstr("no portal; no outputs"));
  EXPECT_FALSE(desktop->createVirtualDisplay({}));
  EXPECT_TRUE(DesktopChoice::open({way("a")}, "elsewhere")->limitation());
}

}  // namespace
}  // namespace tessaline
