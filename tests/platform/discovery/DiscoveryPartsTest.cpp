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

TEST(VisibleServices, AreOneOnAllInterfacesAndBounded) {
  using enum VisibleServices::Change;
  VisibleServices visible;
  const auto named = [](const std::string& name) {
    return ServiceEndpoint{name, "_t._tcp", "local"};
  };
  EXPECT_EQ(visible.remove(named("A"), {1, 0}), none);
  EXPECT_EQ(visible.add(named("A"), {1, 0}), changed);
  EXPECT_EQ(visible.add(named("A"), {2, 1}), none);
  EXPECT_EQ(visible.remove(named("A"), {1, 0}), none);
  EXPECT_EQ(visible.all(), std::vector{named("A")});
  for (std::size_t i = 1; i < VisibleServices::kMost; ++i)
    visible.add(named(std::to_string(i)), {});
  EXPECT_EQ(visible.add(named("one too many"), {}), refused);
  EXPECT_EQ(visible.remove(named("A"), {2, 1}), changed);
  EXPECT_EQ(visible.add(named("one too many"), {}), changed);
  EXPECT_EQ(visible.all().size(), VisibleServices::kMost);
}

}  // namespace
}  // namespace tessaline::platform
