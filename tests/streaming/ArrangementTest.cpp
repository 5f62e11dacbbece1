#include <gtest/gtest.h>

#include "streaming/Arrangement.h"
#include "support/TemporaryFolder.h"

namespace tessaline {
namespace {

TEST(Arrangement, UsesOnlyPlacesThatFitTheDisplaysThatThereAre) {
  const test::TemporaryFolder folder;
  UserDefaults defaults(folder.path() / "defaults.json");
  Arrangement arrangement(defaults);
  const Arrangement::Displays laptop = {{1, {0, 0, 1280, 800}, {1280, 800}, true}};
  const Arrangement::Displays desk = {{1, {1920, 280, 1280, 800}, {1280, 800}, true},
                                      {2, {0, 0, 1920, 1080}, {1920, 1080}, false}};
  const PixelSize size{640, 480};
  const struct {
    const char* remembered;
    const Arrangement::Displays& displays;
    std::optional<PixelPoint> place;
  } cases[] = {
      {"1280,0", laptop, PixelPoint{1280, 0}},
      {"-640,100", laptop, PixelPoint{-640, 100}},
      {"-640,100", desk, std::nullopt},  // where the other monitor is
      {"100,-480", desk, PixelPoint{2020, -200}},
      {"100,-481", laptop, std::nullopt},  // a gap
      {"100,-479", laptop, std::nullopt},  // an overlap
      {"1280,800", laptop, std::nullopt},  // a corner alone
      {"1280,799", laptop, PixelPoint{1280, 799}},
      {"1280,0", {}, std::nullopt},
      {"1280,0x", laptop, std::nullopt},
      {"-2147483648,0", laptop, std::nullopt},
  };
  for (const auto& c : cases) {
    defaults.set("arrangement", UserDefaults::Dictionary{{"7", c.remembered}});
    EXPECT_EQ(arrangement.placeFor(7, size, c.displays), c.place) << c.remembered;
    EXPECT_EQ(arrangement.placeFor(8, size, c.displays), std::nullopt);
  }

  // The leftmost display stands in for a primary one that nobody has chosen.
  const Arrangement::Displays plain = {{1, {800, 0, 800, 600}, {800, 600}, false},
                                       {2, {0, 0, 800, 600}, {800, 600}, false}};
  arrangement.remember(7, {-640, 5, 640, 480}, plain);
  EXPECT_EQ(arrangement.placeFor(7, size, plain), (PixelPoint{-640, 5}));
  UserDefaults::Dictionary many;
  for (int i = 0; i < 200; ++i) many[std::to_string(i)] = "1,1";
  defaults.set("arrangement", many);
  arrangement.remember(1000, {-640, 5, 640, 480}, plain);
  EXPECT_EQ(defaults.dictionary("arrangement")->size(), 200U) << "bounded";
  EXPECT_TRUE(arrangement.placeFor(1000, size, plain));
}

}  // namespace
}  // namespace tessaline
