#include <gmock/gmock.h>

#include <csignal>

#include "platform/wayland/mutter/MutterBed.h"

namespace tessaline::platform {
namespace {

using test::eventually;

constexpr PixelSize kTablet{2000, 1400};  // twice 1000 × 700
constexpr PixelSize kPhone{1024, 768};

TEST_F(MutterBed, DisplaysComeTogetherWhereTheyAreWantedAndGo) {
  ASSERT_TRUE(desktop_->hasPoints());
  auto tablet = makeDisplay(kTablet, true, PixelPoint{-1000, 20});
  auto phone = makeDisplay(kPhone, false);
  ASSERT_TRUE(comes(*tablet));
  ASSERT_TRUE(comes(*phone));

  // The others move, as nothing may lie left of 0.
  EXPECT_TRUE(eventually([&] { return listed(*phone)->bounds == PixelRect{2280, 0, 1024, 768}; }));
  EXPECT_EQ(listed(*tablet)->bounds, (PixelRect{0, 20, 1000, 700}));
  EXPECT_EQ(listed(*tablet)->pixels, kTablet);
  EXPECT_EQ(listed(*phone)->pixels, kPhone);
  const auto real = monitorOf({1280, 720});
  const auto extra = monitorOf(kTablet);
  ASSERT_TRUE(real && extra);
  EXPECT_EQ(real->x, 1000);
  EXPECT_TRUE(real->primary);
  EXPECT_EQ(extra->scale, 2);
  EXPECT_FALSE(extra->primary);

  destroy(tablet);
  EXPECT_TRUE(eventually([] { return layout().monitors.size() == 2; }));
  EXPECT_TRUE(eventually([&] {
    return listed(*phone)->bounds == PixelRect{1280, 0, 1024, 768};
  })) << "at "
      << listed(*phone)->bounds.x << "," << listed(*phone)->bounds.y;
  destroy(phone);
  EXPECT_TRUE(eventually([] { return layout().monitors.size() == 1; }));
}

TEST_F(MutterBed, EndsWithTheCompositor) {
  auto tablet = makeDisplay(kTablet, false);
  ASSERT_TRUE(comes(*tablet));
  startCapture(*tablet, kTablet);
  ASSERT_TRUE(eventually([&] { return frames_ > 0; }));
  int lost = 0;
  onMain([&] { desktop_->onLost = [&] { ++lost; }; });
  mutter_->signal(SIGKILL);
  const auto lostNow = [&] {
    int now = 0;
    onMain([&] { now = lost; });
    return now;
  };
  EXPECT_TRUE(eventually([&] { return lostNow() == 1; }));
  EXPECT_TRUE(eventually([&] {
    const std::lock_guard lock(mutex_);
    return stopped_.size() == 1;
  }));
  onMain([&] {
    EXPECT_FALSE(desktop_->shareableDisplays());
    EXPECT_FALSE(desktop_->createVirtualDisplay(VirtualDisplayDescriptor()));
  });
  destroy(tablet);
  EXPECT_EQ(lostNow(), 1);
}

}  // namespace
}  // namespace tessaline::platform
