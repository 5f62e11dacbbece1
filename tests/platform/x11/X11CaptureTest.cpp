#include "platform/CapturedFrames.h"
#include "platform/x11/X11Fixture.h"

namespace tessaline::platform {
namespace {

constexpr PixelSize kSize{640, 480};
constexpr int kTolerance = 2;  // of the conversion's rounding

// BT.601, video range.
constexpr std::uint32_t kRed = 0xFF0000;
constexpr int kRedLuma = 82;
constexpr std::uint32_t kGreen = 0x00FF00;
constexpr int kGreenLuma = 145;

class X11CaptureTest : public X11Fixture {
 protected:
  void SetUp() override {
    X11Fixture::SetUp();
    if (!server_) return;
    openDesktop();
    display_ = makeDisplay("iPad", kSize);
    ASSERT_TRUE(display_);
    place_ = boundsOf(display_->displayID());
  }
  void TearDown() override {
    onMain([&] {
      stream_.reset();
      display_.reset();
    });
    frames_.clear();
    X11Fixture::TearDown();
  }

  void start(int depth) {
    onMain([&] {
      stream_ =
          desktop_->createCaptureStream(display_->displayID(), {.size = kSize, .queueDepth = depth},
                                        queues_.thread("tessaline.capture"), frames_.callbacks());
      stream_->start([](const auto& error) { EXPECT_EQ(error.value_or(""), ""); });
    });
  }

  /// Paints in coordinates of the display.
  void paintHere(PixelRect rect, std::uint32_t rgb) {
    paint({place_.x + rect.x, place_.y + rect.y, rect.width, rect.height}, rgb);
  }

  static void expectLuma(const PixelBuffer& picture, int x, int y, int luma) {
    EXPECT_NEAR(picture.luma()[y * picture.stride() + x], luma, kTolerance) << x << "," << y;
  }

  std::unique_ptr<VirtualDisplay> display_;
  PixelRect place_;
  std::unique_ptr<CaptureStream> stream_;
  test::CapturedFrames frames_;
};

TEST_F(X11CaptureTest, WaitsForTheConsumerAndForFreeBuffersAndMergesMeanwhile) {
  paintHere({0, 0, kSize.width, kSize.height}, kGreen);
  start(2);
  auto first = frames_.next();
  frames_.mayDeliver = false;
  const int before = frames_.asked;
  paintHere({0, 0, 200, 200}, kRed);
  paintHere({0, 200, 200, 200}, kRed);
  EXPECT_TRUE(eventually([&] { return frames_.asked > before; }));
  EXPECT_EQ(frames_.count(), 0U);
  frames_.mayDeliver = true;
  stream_->wake();
  auto second = frames_.next();
  ASSERT_TRUE(second.dirtyRects);
  EXPECT_EQ(*second.dirtyRects, (std::vector<PixelRect>{{0, 0, 200, 400}}));

  // Both buffers are here now: nothing more until one is free, which alone is reason to go on.
  paintHere({400, 0, 100, 100}, kRed);
  first = {};
  const auto third = frames_.next();
  ASSERT_TRUE(third.pixels);
  expectLuma(*third.pixels, 450, 50, kRedLuma);
  expectLuma(*third.pixels, 100, 300, kRedLuma);
  expectLuma(*third.pixels, 300, 300, kGreenLuma);
}

}  // namespace
}  // namespace tessaline::platform
