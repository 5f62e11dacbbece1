#include "platform/linux/wayland/wlroots/WlrootsDisplay.h"

namespace tessaline::platform {

WlrootsDisplay::~WlrootsDisplay() {
  if (applied_) server_->removeDisplay(id_);
}

bool WlrootsDisplay::apply(const VirtualDisplaySettings& settings) {
  if (settings.modes.empty() || applied_) return false;
  const VirtualDisplayMode& mode = settings.modes.front();
  const auto number = [](std::uint32_t value) { return static_cast<int>(value); };
  SwayOutputs::Wish wish;
  wish.scale = settings.hiDPI ? 2 : 1;
  wish.pixels = settings.hiDPI ? PixelSize{number(descriptor_.maxPixelsWide),
                                           number(descriptor_.maxPixelsHigh)}
                               : PixelSize{number(mode.width), number(mode.height)};
  if (mode.refreshRate > 0) wish.refreshRate = mode.refreshRate;
  wish.origin = settings.origin;
  applied_ = true;
  server_->addDisplay({id_, descriptor_.name, wish, state_});
  return true;
}

}  // namespace tessaline::platform
