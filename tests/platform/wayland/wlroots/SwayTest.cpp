#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include "base/AsioQueue.h"
#include "platform/CapturedFrames.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {
namespace {

using test::eventually;

/// A sway without hardware, one output of 1280 × 720 points, and Tessaline's desktop on it; skipped
/// where sway is too old to serve (Debian 12's is). It refuses root, so that for root it runs as
/// nobody.
class Sway : public ::testing::Test {
 protected:
  using Display = std::unique_ptr<VirtualDisplay>;

  void SetUp() override {
    if (test::Program({"sh", "-c", "command -v sway && command -v swaymsg"}).wait() != 0) {
      GTEST_SKIP() << "sway is not installed";
    }
    const std::string folder = folder_.path();
    std::ofstream(folder + "/config") << "xwayland disable\n";
    ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    ::setenv("WAYLAND_DISPLAY", (folder + "/wayland-1").c_str(), 1);
    ::setenv("SWAYSOCK", (folder + "/sway.sock").c_str(), 1);
    std::vector<std::string> command{"sway", "-c", folder + "/config"};
    if (::geteuid() == 0) {
      const passwd* const nobody = ::getpwnam("nobody");
      if (!nobody || ::chown(folder.c_str(), nobody->pw_uid, nobody->pw_gid) != 0) {
        GTEST_SKIP() << "there is no ordinary user to run sway";
      }
      const std::vector<std::string> lesser{"setpriv", "--reuid=nobody", "--regid",
                                            std::to_string(nobody->pw_gid), "--clear-groups"};
      command.insert(command.begin(), lesser.begin(), lesser.end());
    }
    sway_ = std::make_unique<test::Program>(
        command, std::vector<std::string>{"WLR_BACKENDS=headless", "WLR_LIBINPUT_NO_DEVICES=1",
                                          "WLR_RENDERER=pixman", "HOME=" + folder});
    ASSERT_TRUE(eventually([] { return activeOutputs() == 1; })) << sway_->output();
    if (const auto obstacle = wlrootsObstacle()) {
      GTEST_SKIP() << "the sway that is installed is too old: " << *obstacle;
    }
    onMain([&] {
      auto opened = openWlrootsDesktop(queues_);
      ASSERT_TRUE(opened) << opened.error();
      desktop_ = std::move(*opened);
      desktop_->onLost = [this] { ++losses_; };
    });
  }
  void TearDown() override {
    onMain([&] { desktop_.reset(); });
  }

  void onMain(const std::function<void()>& work) { queues_.main()->sync(work); }
  /// As sway itself has it: how many outputs are switched on.
  static int activeOutputs() {
    test::Program list({"sh", "-c", "swaymsg -r -t get_outputs | grep -c '\"active\": *true'"});
    list.wait();
    return std::atoi(list.output().c_str());
  }
  Display makeDisplay(PixelSize size, bool hiDPI = false,
                      std::optional<PixelPoint> origin = std::nullopt) {
    Display display;
    VirtualDisplayDescriptor descriptor;
    descriptor.name = "Tablet";
    descriptor.maxPixelsWide = static_cast<std::uint32_t>(size.width);
    descriptor.maxPixelsHigh = static_cast<std::uint32_t>(size.height);
    const std::uint32_t scale = hiDPI ? 2 : 1;
    onMain([&] {
      display = desktop_->createVirtualDisplay(descriptor);
      EXPECT_TRUE(display->apply(
          {.hiDPI = hiDPI,
           .modes = {{descriptor.maxPixelsWide / scale, descriptor.maxPixelsHigh / scale, 60}},
           .origin = origin}));
    });
    return display;
  }
  void destroy(Display& display) {
    onMain([&] { display.reset(); });
  }
  /// Where the display is, once it is listed; empty if that does not happen.
  PixelRect comes(const Display& display) {
    PixelRect bounds;
    (void)eventually([&] {
      onMain([&] {
        for (const auto& info : *desktop_->shareableDisplays()) {
          if (info.id == display->displayID()) bounds = info.bounds;
        }
      });
      return !bounds.empty();
    });
    return bounds;
  }
  /// Whether the one monitor that there was is where it was.
  bool undisturbed() {
    bool there = false;
    onMain([&] { there = desktop_->shareableDisplays()->front().bounds == kMonitor; });
    return there;
  }

  static constexpr PixelRect kMonitor{0, 0, 1280, 720};
  test::TemporaryFolder folder_;
  std::unique_ptr<test::Program> sway_;
  AsioQueues queues_;
  std::unique_ptr<DesktopEnvironment> desktop_;
  std::atomic<int> losses_ = 0;
};

TEST_F(Sway, DisplaysLieWhereTheyAreWantedAndMoveNobody) {
  auto right = makeDisplay({1000, 600});
  EXPECT_EQ(comes(right), (PixelRect{1280, 0, 1000, 600}));
  auto left = makeDisplay({1600, 1200}, true, PixelPoint{-800, 60});
  EXPECT_EQ(comes(left), (PixelRect{-800, 60, 800, 600}));
  EXPECT_EQ(comes(right), (PixelRect{1280, 0, 1000, 600}));
  // A place that is taken: right of all others.
  auto third = makeDisplay({640, 480}, false, PixelPoint{100, 100});
  EXPECT_EQ(comes(third).x, 2280);
  EXPECT_TRUE(undisturbed());
  EXPECT_EQ(activeOutputs(), 4);

  destroy(left);
  destroy(right);
  destroy(third);
  EXPECT_TRUE(eventually([] { return activeOutputs() == 1; }));
  EXPECT_TRUE(undisturbed());
}

TEST_F(Sway, DisplaysGoWithTheApplicationAndWithARunThatCrashed) {
  auto kept = makeDisplay({1000, 600});
  ASSERT_FALSE(comes(kept).empty());
  {
    test::Program run({CRASHING_RUN});
    ASSERT_TRUE(run.waitFor("made"));
    EXPECT_EQ(activeOutputs(), 3);
  }
  test::Program next({CRASHING_RUN});
  ASSERT_TRUE(next.waitFor("made"));
  // The crashed one's is gone; those of two living runs are not.
  EXPECT_TRUE(eventually([] { return activeOutputs() == 3; }));
  EXPECT_EQ(comes(kept).width, 1000);

  // Not even what is still being made is left at the end.
  auto coming = makeDisplay({640, 480});
  onMain([&] {
    coming.reset();
    kept.reset();
    desktop_.reset();
  });
  EXPECT_EQ(activeOutputs(), 2);
}

TEST_F(Sway, PicturesEndWithTheCompositor) {
  constexpr PixelSize kSize{640, 480};
  auto display = makeDisplay(kSize);
  ASSERT_FALSE(comes(display).empty());
  test::CapturedFrames frames;
  std::unique_ptr<CaptureStream> stream;
  onMain([&] {
    stream = desktop_->createCaptureStream(display->displayID(), {.size = kSize},
                                           queues_.thread("capture"), frames.callbacks());
    stream->start([](const auto& error) { EXPECT_FALSE(error) << *error; });
  });
  EXPECT_TRUE(eventually([&] { return frames.count() > 0; }));

  sway_->signal(SIGKILL);
  EXPECT_TRUE(eventually([&] { return losses_ == 1 && frames.stops().size() == 1; }));
  onMain([&] {
    EXPECT_EQ(display->state(), VirtualDisplay::State::failed);
    EXPECT_FALSE(desktop_->shareableDisplays());
    EXPECT_FALSE(desktop_->createVirtualDisplay({}));
    desktop_->inputEvents().postText("nobody reads this");
    stream.reset();
    display.reset();
  });
}

}  // namespace
}  // namespace tessaline::platform
