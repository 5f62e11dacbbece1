#include "app/DesktopChoice.h"

#include <gmock/gmock.h>

#include "support/FakePlatform.h"

namespace tessaline {
namespace {

TEST(DesktopChoice, TakesTheFirstWayThatServesAndNamesWhatIsMissingWhereNoneDoes) {
  std::string tried;
  const auto way = [&](const std::string& name, const std::string& lacking = {}) {
    return DesktopChoice::Way{name, "the way " + name,
                              [&, name, lacking]() -> DesktopChoice::Opened {
                                tried += name;
                                if (!lacking.empty()) return Failure{lacking};
                                return std::unique_ptr<platform::DesktopEnvironment>(
                                    std::make_unique<test::FakeDesktop>());
                              }};
  };
  EXPECT_FALSE(DesktopChoice::open({way("a", "no a here"), way("b"), way("c")})->limitation());
  EXPECT_FALSE(DesktopChoice::open({way("a"), way("b"), way("c")}, "c")->limitation());
  EXPECT_EQ(tried, "abc") << "and no other";
  const auto none = DesktopChoice::open({way("a", "no portal"), way("b", "no outputs")});
  ASSERT_TRUE(none->limitation());
  EXPECT_THAT(*none->limitation(), testing::HasSubstr("no portal; no outputs"));
  EXPECT_FALSE(none->createVirtualDisplay({}));
  EXPECT_TRUE(DesktopChoice::open({way("a")}, "elsewhere")->limitation());
}

}  // namespace
}  // namespace tessaline
