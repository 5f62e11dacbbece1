#include "receiver/PointerPlacement.h"

#include <algorithm>

namespace tessaline {

ViewRect aspectFit(PixelSize video, PixelSize view) {
  if (video.width <= 0 || video.height <= 0) {
    return {0, 0, static_cast<double>(view.width), static_cast<double>(view.height)};
  }
  const double scale = std::min(static_cast<double>(view.width) / video.width,
                                static_cast<double>(view.height) / video.height);
  const double width = video.width * scale;
  const double height = video.height * scale;
  return {(view.width - width) / 2, (view.height - height) / 2, width, height};
}

ViewRect placePointer(PixelSize video, PixelSize view, const PointerShape& shape, double x,
                      double y) {
  const ViewRect fit = aspectFit(video, view);
  // Without a video nothing says how large the pointer is on it: as large as it was.
  const double scale = video.width > 0 ? fit.width / video.width : 1;
  return {fit.x + x * fit.width - scale * shape.hotSpotX,
          fit.y + y * fit.height - scale * shape.hotSpotY, scale * shape.width,
          scale * shape.height};
}

}  // namespace tessaline
