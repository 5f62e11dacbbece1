#pragma once

#include <vector>

#include "platform/linux/x11/RandrLayout.h"

namespace tessaline::platform {

/// An output that shows nothing, with a CRTC that could drive it.
struct SpareOutput {
  xcb_randr_output_t output = 0;
  xcb_randr_crtc_t crtc = 0;
  std::string name;
  bool physical = false;  ///< a connector into which somebody may plug a monitor
};

/// The outputs that may become a virtual display, best first: those that exist for the purpose
/// (DUMMY3, VIRTUAL1, HEADLESS-1, …), then adapters without a monitor of their own, then connectors
/// with nothing plugged in. A monitor that is plugged in and switched off is its user's, and is
/// never offered.
[[nodiscard]] std::vector<SpareOutput> spareOutputs(const RandrLayout& layout);

}  // namespace tessaline::platform
