#include <gmock/gmock.h>

#include <csignal>

#include "platform/wayland/mutter/MutterBed.h"

namespace tessaline::platform {
namespace {

using test::eventually;
using test::Program;

constexpr PixelSize kTablet{2000, 1400};  // twice 1000 × 700
constexpr PixelSize kPhone{1024, 768};
constexpr int kRedLuma = 82;  // BT.601, video range

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

TEST_F(MutterBed, ShowsAndDrivesARealProgram) {
  auto tablet = makeDisplay(kTablet, true);
  ASSERT_TRUE(comes(*tablet));
  const PixelRect bounds = listed(*tablet)->bounds;
  ASSERT_EQ(bounds.width, 1000);
  Program program({WAYLAND_PROGRAM, std::to_string(bounds.x), std::to_string(bounds.y)},
                  {"QT_QPA_PLATFORM=wayland", "QT_WAYLAND_DISABLE_WINDOWDECORATION=1"});
  ASSERT_TRUE(program.waitFor("shown"));

  startCapture(*tablet, kTablet);
  const auto lumaAt = [&](int x, int y) {
    const auto frame = picture();
    return frame ? frame->luma()[y * frame->stride() + x] : 0;
  };
  // The corner is the last to turn red where windows grow to their size.
  const auto isRed = [&](int x, int y) { return std::abs(lumaAt(x, y) - kRedLuma) <= 2; };
  EXPECT_TRUE(eventually([&] { return isRed(1000, 1300) && isRed(0, kTablet.height - 1); }))
      << "pixels of " << int(lumaAt(1000, 1300)) << " and " << int(lumaAt(0, kTablet.height - 1));

  const auto at = [&](double x, double y) { return PointerLocation{bounds.x + x, bounds.y + y}; };
  auto& input = desktop_->inputEvents();
  const auto nothingPends = [&] {
    bool now = false;
    onMain([&] { now = input.pending() == 0; });
    return now;
  };
  onMain([&] {
    EXPECT_TRUE(input.trusted(false));
    input.postButton(MouseButton::left, true, at(600, 500), 1);
    input.postButton(MouseButton::left, false, at(600, 500), 1);
    input.postScroll(0, -30);
  });
  EXPECT_TRUE(program.waitFor("press left 600,500")) << program.output();
  EXPECT_TRUE(program.waitFor("wheel 0,-30")) << program.output();
  EXPECT_TRUE(eventually(nothingPends));
  EXPECT_TRUE(eventually([&] {
    const auto pointer = desktop_->pointer()->location();
    return pointer && std::abs(pointer->x - bounds.x - 600) <= 1 &&
           std::abs(pointer->y - bounds.y - 500) <= 1;
  }));
  EXPECT_TRUE(eventually([&] { return desktop_->pointer()->image() != nullptr; }));
  onMain([&] { EXPECT_TRUE(input.postTap(at(300, 400), 1)); });  // this hides the pointer
  EXPECT_TRUE(program.waitFor("touch 300,400")) << program.output();
  EXPECT_TRUE(program.waitFor("lift")) << program.output();

  onMain([&] {
    input.postText("Aa€ z日本語 ß😀!");
    input.postKey(VirtualKey::kBackspace, true);
    input.postKey(VirtualKey::kBackspace, false);
    input.postText("~\n");
  });
  EXPECT_TRUE(program.waitFor("text Aa€ z日本語 ß😀~.")) << program.output();
  EXPECT_TRUE(program.waitFor("return")) << program.output();
  EXPECT_TRUE(eventually(nothingPends));
  destroy(tablet);
}

TEST_F(MutterBed, EndsWithTheCompositor) {
  auto tablet = makeDisplay(kTablet, false);
  ASSERT_TRUE(comes(*tablet));
  startCapture(*tablet, kTablet);
  ASSERT_TRUE(eventually([&] { return picture() != nullptr; }));
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
