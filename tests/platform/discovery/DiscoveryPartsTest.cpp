#include <gtest/gtest.h>

#include "base/Bytes.h"
#include "platform/linux/discovery/ServiceNames.h"
#include "platform/linux/discovery/VisibleServices.h"

namespace tessaline::platform {
namespace {

TEST(ServiceNames, FitIntoALabelWithoutBreakingACharacter) {
  const std::string plain(63, 'a');
  const struct {
    std::string wanted;
    std::string fitted;
  } cases[] = {
      {"Büro \"2\" \\ a.b's", "Büro \"2\" \\ a.b's"},
      {plain + "b", plain},
      {plain.substr(0, 62) + "é", plain.substr(0, 62)},
      {plain.substr(0, 60) + "\U0001F5A5" + "x", plain.substr(0, 60)},
      {"one\ntwo\x7F", "one two "},
      {"half \xE2", "half \xEF\xBF\xBD"},
  };
  for (const auto& entry : cases) {
    EXPECT_EQ(fitServiceName(entry.wanted), entry.fitted);
    EXPECT_TRUE(isServiceName(entry.fitted));
    std::string next = entry.fitted;
    for (int i = 0; i < 12; ++i) {
      const std::string before = next;
      next = alternativeServiceName(next);
      EXPECT_NE(next, before);
      EXPECT_TRUE(isServiceName(next)) << next;
    }
  }
  for (const auto* bad : {"", "\xFF", "bell\a"}) EXPECT_FALSE(isServiceName(bad));
}

TEST(VisibleServices, AreBounded) {
  using enum VisibleServices::Change;
  VisibleServices visible;
  const auto named = [](std::size_t number) {
    return ServiceEndpoint{std::to_string(number), "_t._tcp", "local"};
  };
  for (std::size_t i = 0; i < VisibleServices::kMost; ++i) visible.add(named(i), {});
  EXPECT_EQ(visible.add(named(VisibleServices::kMost), {}), refused);
  EXPECT_EQ(visible.remove(named(0), {}), changed);
  EXPECT_EQ(visible.add(named(VisibleServices::kMost), {}), changed);
}

}  // namespace
}  // namespace tessaline::platform
