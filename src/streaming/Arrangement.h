#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/Geometry.h"
#include "base/UserDefaults.h"
#include "platform/Display.h"

namespace tessaline {

/// Where the user puts extra displays: remembered for each by its serial number, relative to the
/// primary display, under the setting "arrangement". A place that does not fit the displays that
/// there are now is not used, but stays remembered for when they are back. Main queue.
class Arrangement {
 public:
  using Displays = std::vector<platform::DisplayInfo>;

  explicit Arrangement(UserDefaults& defaults) : defaults_(defaults) {}

  /// Where a display of `size` is to be; nothing when nothing is remembered that fits.
  [[nodiscard]] std::optional<PixelPoint> placeFor(std::uint32_t serialNumber, PixelSize size,
                                                   const Displays& others) const;
  /// Notes where the user has left the display. The usual place, right of all others, is forgotten
  /// instead.
  void remember(std::uint32_t serialNumber, const PixelRect& bounds, const Displays& others);

  /// From the primary display's corner to that of `bounds`; nothing without other displays.
  [[nodiscard]] static std::optional<PixelPoint> offset(const PixelRect& bounds,
                                                        const Displays& others);

 private:
  UserDefaults& defaults_;
};

}  // namespace tessaline
