#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "painter/Canvas.h"
#include "painter/Scenery.h"

namespace tessaline::bench {

enum class Load {
  still,    ///< painted once
  idle,     ///< only the code changes
  text,     ///< a page scrolls under a running clock
  motion,   ///< everything moves
  film,     ///< every picture is another one
  pointer,  ///< only the pointer moves, between two places beside the text; each move is a code
};

struct PainterOptions {
  Load load = Load::motion;
  PixelRect bounds;
  std::string caption;
  Duration codeInterval{};  ///< on average; each one is up to a half shorter or longer
  Duration frameInterval{};
};

/// Paints a code that counts up, and the load around it. Where something moves the code is part of
/// a frame of it, the last that is painted: a display has so many frames a second, and a change
/// that wanted one of its own between two of them would measure the wait for its turn. Lives on the
/// calling thread.
class Painter {
 public:
  /// Wall-clock microseconds around one painting of a code: `before` is taken when the server has
  /// nothing left to do and the request is about to be sent, `after` when the server has answered
  /// that it is carried out. The pixels change in between, so a latency counted from `before` is
  /// never flattering.
  struct Mark {
    std::uint32_t counter = 0;
    std::int64_t before = 0;
    std::int64_t after = 0;
  };

  Painter(Canvas& canvas, PainterOptions options);

  /// Paints until `ending` says so or the server is gone; reports every code.
  void run(const std::function<bool()>& ending, const std::function<void(const Mark&)>& onCode);

 private:
  struct Band {
    MovingBand band;
    xcb_pixmap_t picture;
  };

  void paintEverything();
  void paintFrame(Clock::time_point now);
  void paintBands(Clock::time_point now);
  void paintBand(const Band& band, int shift);
  void paintClock();
  [[nodiscard]] bool movePointer(const std::function<void(const Mark&)>& onCode);
  [[nodiscard]] bool paintCode(Clock::time_point now,
                               const std::function<void(const Mark&)>& onCode);
  [[nodiscard]] Duration nextCodeInterval();

  Canvas& canvas_;
  const PainterOptions options_;
  const Clock::time_point start_;
  std::vector<Band> bands_;
  std::string clockText_;
  std::uint32_t counter_ = 0;
  std::minstd_rand dice_;
};

}  // namespace tessaline::bench
