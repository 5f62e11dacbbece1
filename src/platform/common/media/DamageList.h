#pragma once

#include <span>
#include <vector>

#include "base/Geometry.h"

namespace tessaline::platform {

/// The parts of a picture that are to be taken next. Rectangles are widened to even positions
/// and sizes (a chroma sample covers two pixels each way) and joined where one larger grab is
/// cheaper than two. Lives on the capture queue, owned by a capture stream.
class DamageList {
 public:
  explicit DamageList(PixelSize picture) : picture_(picture) {}

  /// Adds what of `rect`, in pixels of the picture, lies inside the picture.
  void add(PixelRect rect);
  void addAll() { add({0, 0, picture_.width, picture_.height}); }
  [[nodiscard]] bool empty() const { return rects_.empty(); }

  /// The rectangles, at most 32 and together no larger than the picture; the list is then empty.
  [[nodiscard]] std::vector<PixelRect> take();

 private:
  void joinClosestPair();

  const PixelSize picture_;
  std::vector<PixelRect> rects_;
};

}  // namespace tessaline::platform
