#pragma once

#include "base/Geometry.h"

namespace tessaline {

/// A rectangle of a view, from its top left.
struct ViewRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const ViewRect&) const = default;
};

/// Where a video appears in a view of size `view`: whole, as large as possible, centred. A video
/// without a size fills the view.
[[nodiscard]] ViewRect aspectFit(PixelSize video, PixelSize view);

/// The pointer's image as the stream describes it, in pixels of the video.
struct PointerShape {
  double hotSpotX = 0;
  double hotSpotY = 0;
  double width = 0;
  double height = 0;
};

/// Where the pointer's image belongs in the view when its hot spot is at (`x`, `y`), 0…1 of the
/// video. The image is scaled like the video.
[[nodiscard]] ViewRect placePointer(PixelSize video, PixelSize view, const PointerShape& shape,
                                    double x, double y);

}  // namespace tessaline
