#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"

namespace tessaline::platform {

/// Names one display of the desktop while it exists; never 0.
using DisplayID = std::uint32_t;

/// A display of the desktop. Bounds are global desktop coordinates, origin top left: pixels where
/// the desktop knows nothing else, points where it has them (`DesktopEnvironment::hasPoints`).
struct DisplayInfo {
  DisplayID id = 0;
  PixelRect bounds;
  PixelSize pixels;      ///< of its picture
  bool primary = false;  ///< where the desktop has its panel and opens windows; at most one is
};

struct VirtualDisplayDescriptor {
  std::string name;  ///< shown to the user as the monitor's name
  std::uint32_t maxPixelsWide = 0;
  std::uint32_t maxPixelsHigh = 0;
  SizeMM sizeInMillimeters;
  std::uint32_t vendorID = 0;
  std::uint32_t productID = 0;
  std::uint32_t serialNumber = 0;  ///< a desktop recognises a display by these three
};

struct VirtualDisplayMode {
  std::uint32_t width = 0;  ///< points: half the pixels of a HiDPI display
  std::uint32_t height = 0;
  double refreshRate = 0;  ///< Hz
};

struct VirtualDisplaySettings {
  bool hiDPI = false;
  std::vector<VirtualDisplayMode> modes;
  /// Where its top left is to be, in global coordinates, which may be negative: the desktop then
  /// moves the others. None, or a place that the desktop cannot give: right of all others.
  std::optional<PixelPoint> origin = std::nullopt;
};

/// A real extra display of the desktop. It exists exactly as long as this object.
/// Lives on the main queue.
class VirtualDisplay {
 public:
  /// What stands between `apply` and the display being listed.
  enum class State {
    coming,   ///< nothing but a moment, unless the desktop does not manage it
    asking,   ///< the desktop asks its user, and waits for as long as that takes
    refused,  ///< the user said no; until the user asks for it (`ScreenCaptureAccess::request`),
              ///< further displays are refused without a question
    failed,   ///< it will never be listed; the reason is in the log
  };

  virtual ~VirtualDisplay() = default;
  [[nodiscard]] virtual DisplayID displayID() const = 0;
  /// Switches the display on with the first of the modes. False when the desktop refused; the
  /// display is then not listed and the reason is in the log.
  virtual bool apply(const VirtualDisplaySettings& settings) = 0;
  [[nodiscard]] virtual State state() const { return State::coming; }
};

}  // namespace tessaline::platform
