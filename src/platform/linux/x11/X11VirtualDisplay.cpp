#include "platform/linux/x11/X11VirtualDisplay.h"

#include "base/Log.h"

namespace tessaline::platform {

X11VirtualDisplay::~X11VirtualDisplay() {
  server_->removeDisplay(id_);
}

bool X11VirtualDisplay::apply(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty()) return false;
  const VirtualDisplayMode& mode = settings.modes.front();
  const auto points = [](std::uint32_t value) { return static_cast<int>(value); };
  const PixelSize size = settings.hiDPI ? PixelSize{points(descriptor_.maxPixelsWide),
                                                    points(descriptor_.maxPixelsHigh)}
                                        : PixelSize{points(mode.width), points(mode.height)};
  server_->removeDisplay(id_);
  const auto problem = server_->addDisplay(
      id_, {descriptor_, size, mode.refreshRate > 0 ? mode.refreshRate : 60, settings.origin});
  if (problem) log("X11: no display for " + descriptor_.name + ": " + *problem);
  return !problem;
}

}  // namespace tessaline::platform
