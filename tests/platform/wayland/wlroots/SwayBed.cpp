#include "platform/wayland/wlroots/SwayBed.h"

#include <pwd.h>
#include <unistd.h>

#include <boost/json/parse.hpp>
#include <cstdlib>
#include <fstream>

#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"

namespace tessaline::platform {

void SwaySession::SetUp() {
  if (test::Program({"sh", "-c", "command -v sway && command -v swaymsg"}).wait() != 0) {
    GTEST_SKIP() << "sway is not installed";
  }
  const std::string folder = folder_.path();
  std::ofstream(folder_.path() / "config") << "output * bg #336699 solid_color\nxwayland disable\n";
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
}

void SwayBed::SetUp() {
  SwaySession::SetUp();
  if (IsSkipped() || HasFatalFailure()) return;
  onMain([&] {
    auto probe = SessionProbe::look();
    ASSERT_TRUE(probe) << probe.error();
    server_ = std::make_shared<WlrootsServer>(queues_, std::move(*probe),
                                              [this](const std::string&) { ++losses_; });
  });
}

void SwayBed::TearDown() {
  onMain([&] { server_.reset(); });
}

std::unique_ptr<WlrootsDisplay> SwayBed::makeDisplay(PixelSize size, bool hiDPI,
                                                     std::optional<PixelPoint> origin) {
  std::unique_ptr<WlrootsDisplay> display;
  const auto width = static_cast<std::uint32_t>(size.width);
  const auto height = static_cast<std::uint32_t>(size.height);
  const int shift = hiDPI ? 1 : 0;
  onMain([&] {
    VirtualDisplayDescriptor descriptor;
    descriptor.name = "Tablet";
    descriptor.maxPixelsWide = width;
    descriptor.maxPixelsHigh = height;
    display = std::make_unique<WlrootsDisplay>(server_, ++lastDisplay_, descriptor);
    EXPECT_TRUE(display->apply(
        {.hiDPI = hiDPI, .modes = {{width >> shift, height >> shift, 60}}, .origin = origin}));
  });
  return display;
}

PixelRect SwayBed::comes(const WlrootsDisplay& display) {
  std::optional<DisplayInfo> info;
  (void)eventually([&] {
    info = server_->displays()->find(display.displayID());
    return info || display.state() == VirtualDisplay::State::failed;
  });
  return info ? info->bounds : PixelRect();
}

std::vector<PixelRect> SwayBed::others() {
  std::vector<PixelRect> bounds;
  for (const auto& info : server_->displays()->list()) {
    if (info.id < 0x8000'0000) bounds.push_back(info.bounds);
  }
  return bounds;
}

std::size_t SwaySession::activeOutputs() {
  test::Program list({"swaymsg", "-r", "-t", "get_outputs"});
  if (list.wait() != 0) return 0;
  boost::system::error_code error;
  const auto outputs = boost::json::parse(list.output(), error);
  std::size_t count = 0;
  if (error || !outputs.is_array()) return 0;
  for (const auto& output : outputs.get_array()) {
    count += output.at("active").as_bool() ? 1 : 0;
  }
  return count;
}

}  // namespace tessaline::platform
