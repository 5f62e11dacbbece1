#include <linux/input-event-codes.h>

#include <csignal>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/linux/wayland/WaylandInput.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"
#include "platform/wayland/wlroots/SwayBed.h"

namespace tessaline::platform {
namespace {

using SwayDisplays = SwayBed;
using SwayInput = SwayBed;

TEST_F(SwayDisplays, LieWhereTheyAreWantedAndMoveNobody) {
  const std::vector<PixelRect> desktop{{0, 0, 1280, 720}};
  auto right = makeDisplay({1000, 600});
  EXPECT_EQ(comes(*right), (PixelRect{1280, 0, 1000, 600}));

  auto left = makeDisplay({1600, 1200}, true, PixelPoint{-800, 60});
  EXPECT_EQ(comes(*left), (PixelRect{-800, 60, 800, 600}));
  EXPECT_EQ(server_->displays()->find(left->displayID())->pixels, (PixelSize{1600, 1200}));
  EXPECT_EQ(others(), desktop);
  EXPECT_EQ(comes(*right), (PixelRect{1280, 0, 1000, 600}));

  // A place that is taken: right of all others.
  auto third = makeDisplay({640, 480}, false, PixelPoint{100, 100});
  EXPECT_EQ(comes(*third).x, 2280);
  EXPECT_EQ(others(), desktop);
  EXPECT_EQ(activeOutputs(), 4U);

  destroy(left);
  destroy(right);
  destroy(third);
  EXPECT_TRUE(eventually([] { return activeOutputs() == 1; }));
  EXPECT_EQ(others(), desktop);
}

TEST_F(SwayDisplays, GoWithTheApplicationAndWithARunThatCrashed) {
  auto kept = makeDisplay({1000, 600});
  ASSERT_FALSE(comes(*kept).empty());
  {
    test::Program run({WLROOTS_CRASHING_RUN});
    ASSERT_TRUE(run.waitFor("made"));
    EXPECT_EQ(activeOutputs(), 3U);
  }
  test::Program next({WLROOTS_CRASHING_RUN});
  ASSERT_TRUE(next.waitFor("made"));
  // The crashed one's is gone; those of two living runs are not.
  EXPECT_TRUE(eventually([] { return activeOutputs() == 3; }));
  EXPECT_EQ(comes(*kept).width, 1000);

  // Not even what is still being made is left at the end.
  auto coming = makeDisplay({640, 480});
  onMain([&] {
    coming.reset();
    kept.reset();
    server_.reset();
  });
  EXPECT_EQ(activeOutputs(), 2U);
}

TEST_F(SwayDisplays, EndWithTheCompositor) {
  auto display = makeDisplay({1000, 600});
  ASSERT_FALSE(comes(*display).empty());
  sway_->signal(SIGKILL);
  EXPECT_TRUE(eventually([&] { return losses_ == 1; }));
  EXPECT_EQ(display->state(), VirtualDisplay::State::failed);
  EXPECT_TRUE(server_->displays()->list().empty());
  auto late = makeDisplay({1000, 600});
  EXPECT_TRUE(eventually([&] { return late->state() == VirtualDisplay::State::failed; }));
  onMain([&] { server_->type("nobody reads this"); });
  EXPECT_TRUE(eventually([&] { return server_->pending() == 0; }));
  EXPECT_EQ(losses_, 1);
  destroy(display);
  destroy(late);
}

TEST_F(SwayInput, ReachesTheProgramOnTheDisplay) {
  auto display = makeDisplay({1000, 600}, false, PixelPoint{-1000, 0});
  ASSERT_FALSE(comes(*display).empty());
  test::Program program({WAYLAND_PROGRAM, "-1000", "0"}, {"QT_QPA_PLATFORM=wayland"});
  if (!program.waitFor("shown")) GTEST_SKIP() << "Qt's Wayland plugin is missing";
  auto input = std::make_unique<WaylandInput>(queues_.main(), *server_);

  {
    // The program takes its place in its own time: what comes earlier goes elsewhere.
    const std::jthread clicks([&](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        onMain([&] {
          const PointerLocation at{-1000 + 700, 400};
          input->postButton(MouseButton::right, true, at, 1);
          input->postButton(MouseButton::right, false, at, 1);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
    });
    EXPECT_TRUE(program.waitFor("press right 700,400")) << program.output();
  }
  onMain([&] { input->postScroll(0, -30); });
  EXPECT_TRUE(program.waitFor("wheel 0,-30"));

  // More characters than the keyboard has room for at once, and those that need Shift.
  const std::string text = "Aa{ß€} Ελληνικά кириллица 日本語 한국어 😀 äöüñçéèêëîïôûœæøå";
  onMain([&] { input->postText(text + "\n"); });
  EXPECT_TRUE(program.waitFor("text " + text + ".")) << program.output();
  EXPECT_TRUE(program.waitFor("return"));
  EXPECT_TRUE(eventually([&] { return server_->pending() == 0; }));

  // A place on no display at all is none to click at.
  onMain([&] {
    input->postMove({-1000 + 500, 5000});
    input.reset();
  });
  destroy(display);
}

/// Pictures, with a sway that gives any.
class SwayPictures : public SwaySession {
 protected:
  void SetUp() override {
    SwaySession::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    onMain([&] {
      auto opened = openWlrootsDesktop(queues_);
      ASSERT_TRUE(opened) << opened.error();
      desktop_ = std::move(*opened);
      desktop_->onLost = [this] { ++losses_; };
    });
  }
  void TearDown() override {
    onMain([&] {
      stream_.reset();
      display_.reset();
      desktop_.reset();
    });
  }

  /// Where the display of that size is, in points.
  PixelRect show(PixelSize size) {
    PixelRect bounds;
    onMain([&] {
      VirtualDisplayDescriptor descriptor;
      descriptor.name = "Tablet";
      descriptor.maxPixelsWide = std::uint32_t(size.width);
      descriptor.maxPixelsHigh = std::uint32_t(size.height);
      display_ = desktop_->createVirtualDisplay(descriptor);
      const VirtualDisplayMode mode{std::uint32_t(size.width / 2), std::uint32_t(size.height / 2),
                                    60};
      EXPECT_TRUE(display_->apply({.hiDPI = true, .modes = {mode}}));
    });
    EXPECT_TRUE(eventually([&] {
      onMain([&] {
        for (const auto& display : *desktop_->shareableDisplays()) {
          if (display.id == display_->displayID()) bounds = display.bounds;
        }
      });
      return !bounds.empty();
    }));
    return bounds;
  }
  void capture(PixelSize size) {
    onMain([&] {
      stream_ = desktop_->createCaptureStream(
          display_->displayID(), {.size = size}, queues_.thread("capture"),
          {.onFrame =
               [this](CapturedFrame frame) {
                 const std::lock_guard lock(mutex_);
                 ++frames_;
                 if (frame.pixels) picture_ = std::move(frame.pixels);
               },
           .onStopped = [this](const std::string&) { ++stops_; },
           .mayDeliver = [] { return true; }});
      stream_->start([](const auto& error) { EXPECT_FALSE(error) << *error; });
    });
  }
  /// Of the newest picture; -1 before there is one.
  int lumaAt(int x, int y) {
    const std::lock_guard lock(mutex_);
    return picture_ ? picture_->luma()[y * picture_->stride() + x] : -1;
  }

  std::unique_ptr<DesktopEnvironment> desktop_;
  std::unique_ptr<VirtualDisplay> display_;
  std::unique_ptr<CaptureStream> stream_;
  std::atomic<int> losses_ = 0;
  std::atomic<int> stops_ = 0;
  std::mutex mutex_;
  std::shared_ptr<const PixelBuffer> picture_;  // guarded by mutex_
  std::atomic<int> frames_ = 0;
};

TEST_F(SwayPictures, ShowTheProgramAndNotThePointerAndEndWithTheCompositor) {
  constexpr PixelSize kSize{1600, 1200};
  constexpr int kRedLuma = 82;  // of full red, limited range
  const PixelRect bounds = show(kSize);
  ASSERT_EQ(bounds.width, 800);
  test::Program program({WAYLAND_PROGRAM, std::to_string(bounds.x), std::to_string(bounds.y)},
                        {"QT_QPA_PLATFORM=wayland", "QT_WAYLAND_DISABLE_WINDOWDECORATION=1"});
  if (!program.waitFor("shown")) GTEST_SKIP() << "Qt's Wayland plugin is missing";
  capture(kSize);
  const auto isRed = [&](int x, int y) { return std::abs(lumaAt(x, y) - kRedLuma) <= 2; };
  EXPECT_TRUE(eventually([&] { return isRed(1000, 800); })) << "a pixel of " << lumaAt(1000, 800);

  InputEvents& input = desktop_->inputEvents();
  onMain([&] { input.postMove({bounds.x + 500.0, bounds.y + 400.0}); });
  EXPECT_TRUE(eventually([&] {
    const auto at = desktop_->pointer()->location();
    return at && std::abs(at->x - bounds.x - 500) <= 1 && std::abs(at->y - bounds.y - 400) <= 1;
  }));
  EXPECT_TRUE(eventually([&] { return desktop_->pointer()->image() != nullptr; }));
  // What is typed comes as a new picture, which has no pointer in it either.
  const int before = frames_;
  onMain([&] { input.postText("something to see\n"); });
  EXPECT_TRUE(program.waitFor("return"));
  EXPECT_TRUE(eventually([&] { return frames_ > before; }));
  for (const int x : {1000, 1004, 1008}) EXPECT_TRUE(isRed(x, 804)) << x;

  sway_->signal(SIGKILL);
  EXPECT_TRUE(eventually([&] { return losses_ == 1 && stops_ == 1; }));
  onMain([&] { EXPECT_FALSE(desktop_->shareableDisplays()); });
}

}  // namespace
}  // namespace tessaline::platform
