#pragma once

#include <memory>
#include <string>

#include "base/Geometry.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline {

/// One extra display of the desktop, as a device asked for it. The display exists exactly as long
/// as this object. Lives on the main queue; owned by its session.
class VirtualScreen {
 public:
  /// Nothing when a side of `size` (pixels) is below 1 or the desktop refuses; the caller retries
  /// and reports. A HiDPI display has one point for every two pixels.
  [[nodiscard]] static std::unique_ptr<VirtualScreen> create(platform::DesktopEnvironment& desktop,
                                                             const std::string& name,
                                                             PixelSize size, SizeMM sizeMM,
                                                             bool hiDPI);

  [[nodiscard]] platform::DisplayID displayID() const { return display_->displayID(); }

 private:
  explicit VirtualScreen(std::unique_ptr<platform::VirtualDisplay> display);

  const std::unique_ptr<platform::VirtualDisplay> display_;
};

}  // namespace tessaline
