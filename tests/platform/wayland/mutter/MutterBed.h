#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/AsioQueue.h"
#include "platform/DesktopEnvironment.h"
#include "platform/linux/wayland/mutter/MonitorLayout.h"
#include "platform/wayland/screencast/PrivatePipeWire.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {

/// A Mutter without hardware, one monitor of 1280 × 720 pixels and coordinates in points, and
/// Tessaline's desktop on it.
class MutterBed : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  void onMain(const std::function<void()>& work) { queues_.main()->sync(work); }
  /// The display as a session makes it; it is not there yet.
  std::unique_ptr<VirtualDisplay> makeDisplay(PixelSize size, bool hiDPI,
                                              std::optional<PixelPoint> origin = std::nullopt);
  void destroy(std::unique_ptr<VirtualDisplay>& display) {
    onMain([&] { display.reset(); });
  }
  std::optional<DisplayInfo> listed(const VirtualDisplay& display);
  [[nodiscard]] bool comes(const VirtualDisplay& display);
  /// As Mutter itself tells it.
  [[nodiscard]] static MonitorLayout layout();
  [[nodiscard]] static std::optional<MonitorLayout::Monitor> monitorOf(PixelSize size);

  void startCapture(const VirtualDisplay& display, PixelSize size);

  AsioQueues queues_;
  std::unique_ptr<test::PrivatePipeWire> pipewire_;
  test::TemporaryFolder folder_;
  std::unique_ptr<test::Program> mutter_;
  std::unique_ptr<DesktopEnvironment> desktop_;
  std::shared_ptr<Queue> captureQueue_;
  std::unique_ptr<CaptureStream> stream_;
  std::mutex mutex_;
  std::vector<std::string> stopped_;  // guarded by mutex_
  std::atomic<int> frames_ = 0;
};

}  // namespace tessaline::platform
