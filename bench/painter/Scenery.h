#pragma once

#include <QImage>
#include <string_view>
#include <vector>

namespace tessaline::bench {

/// A picture that repeats endlessly in the direction in which it moves.
struct MovingBand {
  QImage picture;
  int top = 0;          ///< in the window
  int height = 0;       ///< of the part that shows
  int pixelsPerSecond;  ///< to the left, or upwards when `vertical`
  bool vertical = false;
};

/// The pictures that a painter shows, drawn once: moving them costs the X server a copy and the
/// painter nothing.
class Scenery {
 public:
  static constexpr int kBarHeight = 64;  // holds the code, a caption and the clock

  /// The bar at the top of the window.
  [[nodiscard]] static QImage bar(int width, std::string_view caption);
  /// The clock, `text` on the bar's background.
  [[nodiscard]] static QImage clock(std::string_view text);
  /// A page that stands still, or one that is scrolled through.
  [[nodiscard]] static QImage page(int width, int height);
  [[nodiscard]] static std::vector<MovingBand> scrollingText(int width, int height);
  /// Sky, hills, a town and a road that pass at different speeds.
  [[nodiscard]] static std::vector<MovingBand> landscape(int width, int height);
  /// Clouds with the grain of a film, of which each frame shows another part: nothing in a picture
  /// can be taken from the one before.
  [[nodiscard]] static std::vector<MovingBand> film(int width, int height);
};

}  // namespace tessaline::bench
