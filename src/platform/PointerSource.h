#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/Bytes.h"
#include "base/Geometry.h"
#include "platform/Display.h"

namespace tessaline::platform {

/// The picture of the pointer: `width` × `height` pixels of straight (not premultiplied) RGBA.
struct PointerImage {
  std::uint64_t serial = 0;  ///< differs between any two images that differ
  int width = 0;
  int height = 0;
  double hotSpotX = 0;  ///< pixels from the image's top left
  double hotSpotY = 0;
  Bytes rgba;
};

struct PointerLocation {
  double x = 0;  ///< global desktop coordinates, in the units of `DisplayInfo::bounds`
  double y = 0;
};

/// What the desktop's pointer looks like and where it is. All three are kept up to date from
/// events, so that asking costs no round trip. Callable from any thread.
class PointerSource {
 public:
  virtual ~PointerSource() = default;
  /// Nothing while the desktop does not tell, as some do unless the pointer is on a display that
  /// is being captured.
  [[nodiscard]] virtual std::optional<PointerLocation> location() const = 0;
  /// Nothing until the first image is known.
  [[nodiscard]] virtual std::shared_ptr<const PointerImage> image() const = 0;
  /// Nothing when there is no such display (any more).
  [[nodiscard]] virtual std::optional<PixelRect> bounds(DisplayID display) const = 0;
  /// Calls `moved`, on any thread, whenever the pointer's location or image has changed, until the
  /// handle is destroyed; a call may be under way then. Nothing where the desktop does not tell.
  [[nodiscard]] virtual std::shared_ptr<void> watch([[maybe_unused]] std::function<void()> moved) {
    return nullptr;
  }
};

}  // namespace tessaline::platform
