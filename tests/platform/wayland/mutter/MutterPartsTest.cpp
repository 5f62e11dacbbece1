#include <gmock/gmock.h>

#include "platform/linux/wayland/mutter/KeyboardLayout.h"
#include "platform/linux/wayland/mutter/MonitorLayout.h"
#include "support/Keymap.h"

namespace tessaline::platform {
namespace {

MonitorLayout::Monitor monitor(const std::string& name, PixelRect place, bool primary = false) {
  return {{name, "vendor", "product", name},
          {"mode", {place.width, place.height}, {1, 1.5, 2}},
          place.x,
          place.y,
          1,
          0,
          primary};
}

std::vector<PixelRect> boundsOf(const MonitorLayout& layout) {
  std::vector<PixelRect> bounds;
  for (const auto& each : layout.monitors) bounds.push_back(layout.bounds(each));
  return bounds;
}

TEST(MonitorLayoutTest, WishesAreMetWithinMuttersRules) {
  const PixelRect real{0, 0, 1000, 800};
  constexpr int kFar = 2'000'000'000;
  struct {
    std::string what;
    std::optional<PixelPoint> origin;
    bool hiDPI;
    PixelRect real, extra;
  } const cases[] = {
      {"right of all others", {}, false, real, {1000, 0, 600, 400}},
      {"left: the corner moves", {{-600, -50}}, false, {600, 50, 1000, 800}, {0, 0, 600, 400}},
      {"apart: the nearest side", {{100, 900}}, false, real, {100, 800, 600, 400}},
      {"overlapping: pushed out", {{900, 100}}, false, real, {1000, 100, 600, 400}},
      {"a corner alone: one pixel along", {{1000, 800}}, false, real, {1000, 799, 600, 400}},
      {"two pixels for a point", {}, true, real, {1000, 0, 300, 200}},
      {"far away", {{kFar, -kFar}}, false, {0, 400, 1000, 800}, {999, 0, 600, 400}},
  };
  for (const auto& expected : cases) {
    MonitorLayout layout;
    layout.points = true;
    layout.monitors = {monitor("real", real, true), monitor("extra", {1000, 0, 600, 400})};
    const MonitorLayout kept{1, true, {layout.monitors.front()}};
    const auto arranged = arrangedLayout(
        layout, &kept, {{layout.monitors[1].key, expected.hiDPI, expected.origin, false}});
    EXPECT_THAT(boundsOf(arranged), testing::ElementsAre(expected.real, expected.extra))
        << expected.what;
  }
}

TEST(MonitorLayoutTest, OthersStayWhereTheUserHasThemWhenADisplayComes) {
  // Mutter puts all monitors in a row when the set of them changes.
  MonitorLayout layout;
  layout.points = true;
  layout.monitors = {monitor("a", {0, 0, 1000, 800}, true), monitor("b", {1000, 0, 1000, 800}),
                     monitor("first", {2000, 0, 600, 400}), monitor("new", {2600, 0, 600, 400})};
  MonitorLayout kept{1,
                     true,
                     {monitor("a", {0, 800, 1000, 800}), monitor("b", {0, 0, 1000, 800}, true),
                      monitor("first", {1000, 300, 600, 400})}};
  kept.monitors[2].scale = 2;
  const auto arranged = arrangedLayout(layout, &kept,
                                       {{layout.monitors[2].key, true, std::nullopt, true},
                                        {layout.monitors[3].key, false, std::nullopt, false}});
  EXPECT_THAT(boundsOf(arranged),
              testing::ElementsAre(PixelRect{0, 800, 1000, 800}, PixelRect{0, 0, 1000, 800},
                                   PixelRect{1000, 300, 300, 200}, PixelRect{1300, 300, 600, 400}));
  EXPECT_TRUE(arranged.monitors[1].primary);
  EXPECT_FALSE(arranged.monitors[0].primary);
}

TEST(KeyboardLayoutTest, OnlyWhatEveryLayoutHasCountsAsAKey) {
  struct {
    const char* layouts;
    std::u32string has, lacks;
  } const cases[] = {{"us", U"aZ1 ~", U"ä日ж"},
                     {"de", U"äß@z", U"日ж"},  // AltGr counts
                     {"us,ru", U"1 !", U"aж"}};
  for (const auto& expected : cases) {
    const auto layout = KeyboardLayout::parse(test::keymapText(expected.layouts).c_str());
    ASSERT_TRUE(layout) << expected.layouts;
    for (const char32_t c : expected.has) {
      EXPECT_TRUE(layout->keysym(c, false)) << expected.layouts << " " << int(c);
    }
    for (const char32_t c : expected.lacks) {
      EXPECT_FALSE(layout->keysym(c, false)) << expected.layouts << " " << int(c);
    }
  }
  const auto layout = KeyboardLayout::parse(test::keymapText("us").c_str());
  EXPECT_EQ(layout->keysym(U'a', true), std::uint32_t{'A'}) << "Caps Lock turns it back";
  EXPECT_FALSE(KeyboardLayout::parse("no keymap"));
}

}  // namespace
}  // namespace tessaline::platform
