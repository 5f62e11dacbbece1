#pragma once

#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/AsioQueue.h"
#include "platform/DesktopEnvironment.h"
#include "platform/linux/x11/RandrLayout.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Desktop.h"
#include "support/Eventually.h"
#include "support/x11/PrivateXServer.h"

namespace tessaline::platform {

using test::eventually;

/// An X server, an ordinary X client on it to look and paint with, and Tessaline's desktop.
class X11Fixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// Runs on the main queue, where the desktop is used.
  void onMain(const std::function<void()>& work) { queues_.main()->sync(work); }
  void openDesktop();
  /// The display, switched on with its full size; null when it was refused.
  std::unique_ptr<VirtualDisplay> makeDisplay(const std::string& name, PixelSize size,
                                              SizeMM millimetres = {300, 200});
  void destroy(std::unique_ptr<VirtualDisplay>& display) {
    onMain([&] { display.reset(); });
  }
  std::vector<DisplayInfo> listed();
  PixelRect boundsOf(DisplayID id);

  /// What another program on the server prints.
  std::string run(const std::vector<std::string>& command);
  [[nodiscard]] RandrLayout layout() const { return readRandrLayout(*client_); }
  /// Paints over everything; the server has done it on return.
  void paint(PixelRect rect, std::uint32_t rgb);

  std::unique_ptr<test::PrivateXServer> server_;
  AsioQueues queues_;
  std::unique_ptr<X11Connection> client_;
  std::unique_ptr<DesktopEnvironment> desktop_;
};

}  // namespace tessaline::platform
