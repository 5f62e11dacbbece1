#include <gtest/gtest.h>

#include "platform/linux/discovery/ServiceNames.h"
#include "platform/linux/discovery/VisibleServices.h"

namespace tessaline::platform {
namespace {

TEST(ServiceNames, FitIntoALabelWhateverIsWanted) {
  std::string lengthy;
  for (int i = 0; i < 40; ++i) lengthy += "é";
  EXPECT_EQ(fitServiceName(lengthy), lengthy.substr(0, 62));
  EXPECT_EQ(fitServiceName("half \xE2\n"), "half \uFFFD ");
  EXPECT_LE(alternativeServiceName(fitServiceName(lengthy)).size(), 63U);
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
