#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/AsioQueue.h"
#include "platform/linux/wayland/wlroots/WlrootsDisplay.h"
#include "platform/linux/wayland/wlroots/WlrootsServer.h"
#include "support/Eventually.h"
#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::platform {

using test::eventually;

/// A sway without hardware, one output of 1280 × 720 points; skipped where sway is too old to serve
/// (Debian 12's is). It refuses root, so that for root it runs as nobody.
class SwaySession : public ::testing::Test {
 protected:
  void SetUp() override;

  void onMain(const std::function<void()>& work) { queues_.main()->sync(work); }
  /// As sway itself has it: how many outputs are switched on.
  static std::size_t activeOutputs();

  test::TemporaryFolder folder_;
  std::unique_ptr<test::Program> sway_;
  AsioQueues queues_;
};

/// What Tessaline has of it, apart from pictures.
class SwayBed : public SwaySession {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::unique_ptr<WlrootsDisplay> makeDisplay(PixelSize size, bool hiDPI = false,
                                              std::optional<PixelPoint> origin = std::nullopt);
  void destroy(std::unique_ptr<WlrootsDisplay>& display) {
    onMain([&] { display.reset(); });
  }
  /// Where the display is, once it is listed; empty if that does not happen.
  PixelRect comes(const WlrootsDisplay& display);
  /// Where displays are that are not extra ones.
  std::vector<PixelRect> others();

  std::shared_ptr<WlrootsServer> server_;
  DisplayID lastDisplay_ = 0x8000'0000;
  std::atomic<int> losses_ = 0;
};

}  // namespace tessaline::platform
