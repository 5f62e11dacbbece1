#include "platform/wayland/mutter/MutterBed.h"

#include <cstdlib>
#include <fstream>

#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/wayland/mutter/MutterDesktop.h"
#include "platform/linux/wayland/mutter/MutterLayoutWire.h"
#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

constexpr const char* kSocket = "wl-test";

}  // namespace

void MutterBed::SetUp() {
  if (test::Program({"mutter", "--version"}).wait() != 0) GTEST_SKIP() << "mutter is not installed";
  std::string problem;
  pipewire_ = test::PrivatePipeWire::start(problem);
  if (!pipewire_) GTEST_SKIP() << problem;
  EXPECT_FALSE(mutterServes());
  const auto settings = folder_.path() / "glib-2.0" / "settings";
  std::filesystem::create_directories(settings);
  std::ofstream(settings / "keyfile")
      << "[org/gnome/mutter]\nexperimental-features=['scale-monitor-framebuffer']\n";
  ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
  ::setenv("WAYLAND_DISPLAY", kSocket, 1);
  mutter_ = std::make_unique<test::Program>(
      std::vector<std::string>{"mutter", "--headless", "--wayland", "--no-x11", "--wayland-display",
                               kSocket, "--virtual-monitor", "1280x720"},
      std::vector<std::string>{"GSETTINGS_BACKEND=keyfile", "LIBGL_ALWAYS_SOFTWARE=1"});
  ASSERT_TRUE(test::eventually([] { return mutterServes() && layout().monitors.size() == 1; }));
  onMain([&] {
    auto opened = openMutterDesktop(queues_);
    ASSERT_TRUE(opened) << opened.error();
    desktop_ = std::move(*opened);
  });
}

void MutterBed::TearDown() {
  onMain([&] {
    stream_.reset();
    desktop_.reset();
  });
  // What the desktop told Mutter arrives before Mutter goes.
  if (mutter_) (void)test::eventually([] { return layout().monitors.size() <= 1; });
  mutter_.reset();
  ::unsetenv("WAYLAND_DISPLAY");
  ::unsetenv("XDG_CONFIG_HOME");
}

std::unique_ptr<VirtualDisplay> MutterBed::makeDisplay(PixelSize size, bool hiDPI,
                                                       std::optional<PixelPoint> origin) {
  std::unique_ptr<VirtualDisplay> display;
  const auto width = static_cast<std::uint32_t>(size.width);
  const auto height = static_cast<std::uint32_t>(size.height);
  const int shift = hiDPI ? 1 : 0;
  onMain([&] {
    VirtualDisplayDescriptor descriptor;
    descriptor.name = "Tablet";
    descriptor.maxPixelsWide = width;
    descriptor.maxPixelsHigh = height;
    display = desktop_->createVirtualDisplay(descriptor);
    EXPECT_TRUE(display && display->apply({.hiDPI = hiDPI,
                                           .modes = {{width >> shift, height >> shift, 60}},
                                           .origin = origin}));
  });
  return display;
}

std::optional<DisplayInfo> MutterBed::listed(const VirtualDisplay& display) {
  std::optional<DisplayInfo> found;
  onMain([&] {
    auto displays = desktop_->shareableDisplays();
    if (!displays) return;
    for (const auto& info : *displays) {
      if (info.id == display.displayID()) found = info;
    }
  });
  return found;
}

bool MutterBed::comes(const VirtualDisplay& display) {
  return test::eventually([&] { return listed(display).has_value(); });
}

MonitorLayout MutterBed::layout() {
  try {
    const auto connection = sdbus::createSessionBusConnection();
    const auto proxy =
        bus::createProxy(*connection, MutterNames::kDisplayConfig, MutterNames::kDisplayConfigPath);
    auto layout = readLayoutNow(proxy.get(), std::chrono::seconds(10));
    return layout ? *layout : MonitorLayout{};
  } catch (const sdbus::Error&) {
    return {};
  }
}

std::optional<MonitorLayout::Monitor> MutterBed::monitorOf(PixelSize size) {
  for (const auto& monitor : layout().monitors) {
    if (monitor.mode.size == size) return monitor;
  }
  return std::nullopt;
}

void MutterBed::startCapture(const VirtualDisplay& display, PixelSize size) {
  captureQueue_ = queues_.thread("capture");
  onMain([&] {
    CaptureStream::Callbacks callbacks;
    callbacks.onFrame = [this](const CapturedFrame&) { ++frames_; };
    callbacks.onStopped = [this](const std::string& reason) {
      const std::lock_guard lock(mutex_);
      stopped_.push_back(reason);
    };
    callbacks.mayDeliver = [] { return true; };
    stream_ = desktop_->createCaptureStream(display.displayID(), {.size = size}, captureQueue_,
                                            std::move(callbacks));
    ASSERT_TRUE(stream_);
    stream_->start([](const auto& error) { EXPECT_FALSE(error) << *error; });
  });
}

}  // namespace tessaline::platform
