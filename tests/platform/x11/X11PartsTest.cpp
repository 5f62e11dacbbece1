#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/common/media/DamageList.h"
#include "platform/linux/x11/SpareOutputs.h"

namespace tessaline::platform {
namespace {

TEST(DamageList, CoversAllDamageWithFewEvenRectanglesNoLargerThanThePicture) {
  std::mt19937 random(7);
  for (const PixelSize picture : {PixelSize{1920, 1080}, {1367, 769}, {2, 2}, {1, 1}}) {
    for (int round = 0; round < 60; ++round) {
      DamageList list(picture);
      std::vector<PixelRect> added;
      const int count = 1 + round * 3;
      for (int i = 0; i < count; ++i) {
        const auto pick = [&](int low, int high) {
          return std::uniform_int_distribution<int>(low, high)(random);
        };
        added.push_back({pick(-50, picture.width), pick(-50, picture.height),
                         pick(1, 20 + picture.width / count),
                         pick(1, 20 + picture.height / count)});
        list.add(added.back());
      }
      const auto taken = list.take();
      EXPECT_TRUE(list.empty());
      EXPECT_LE(taken.size(), 32U);
      std::int64_t area = 0;
      for (const auto& rect : taken) {
        area += rect.area();
        EXPECT_TRUE(rect.x >= 0 && rect.y >= 0 && rect.x % 2 == 0 && rect.y % 2 == 0);
        EXPECT_TRUE(rect.width % 2 == 0 || rect.x + rect.width == picture.width);
        EXPECT_TRUE(rect.height % 2 == 0 || rect.y + rect.height == picture.height);
      }
      EXPECT_LE(area, std::int64_t{picture.width} * picture.height);
      for (const auto& rect : added) {
        for (const int x : {rect.x, rect.x + rect.width - 1}) {
          for (const int y : {rect.y, rect.y + rect.height - 1}) {
            if (x < 0 || y < 0 || x >= picture.width || y >= picture.height) continue;
            EXPECT_TRUE(std::ranges::any_of(taken, [&](auto& t) { return t.contains(x, y); }));
          }
        }
      }
    }
  }
}

TEST(SpareOutputs, PrefersOutputsMadeForItAndNeverTakesAPluggedInMonitor) {
  RandrLayout layout;
  const auto add = [&](const char* name, bool connected, bool on) {
    const auto id = static_cast<std::uint32_t>(layout.outputs.size() + 1);
    auto& crtc = layout.crtcs.emplace_back();
    crtc.id = 100 + id;
    if (on) crtc.outputs = {id};
    layout.outputs.push_back({id, name, connected, on ? crtc.id : 0, {crtc.id}, {}});
  };
  add("eDP-1", true, true);
  add("HDMI-1", false, false);
  add("DP-1", true, false);  // its user switched it off
  add("DVI-I-1-1", false, false);
  add("DUMMY0", true, false);
  add("VIRTUAL1", false, false);
  add("HEADLESS-1", false, true);
  add("Virtual-2", false, false);
  layout.outputs.back().possibleCrtcs.clear();
  std::vector<std::string> names;
  for (const auto& spare : spareOutputs(layout)) {
    names.push_back(spare.name);
    EXPECT_EQ(spare.physical, spare.name == "HDMI-1");
  }
  EXPECT_EQ(names, (std::vector<std::string>{"VIRTUAL1", "DUMMY0", "DVI-I-1-1", "HDMI-1"}));
}

}  // namespace
}  // namespace tessaline::platform
