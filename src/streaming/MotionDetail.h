#pragma once

#include <optional>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/CaptureStream.h"

namespace tessaline {

/// Whether pictures that move are coded at half their width and height: where this computer is too
/// slow for whole ones, and only for as long as most of the picture moves. Four times as many
/// pixels are sharper, but late; nobody reads what rushes past. Its owner sees to it that calls do
/// not overlap.
class MotionDetail {
 public:
  /// A picture is about to be coded: whether it may be coarse.
  [[nodiscard]] bool submit(const platform::CapturedFrame& frame, Clock::time_point now);
  /// It was coded.
  void coded(Clock::time_point now);
  /// Nothing moves any more.
  void stop();
  [[nodiscard]] bool coarse() const { return coarse_; }

 private:
  Clock::time_point movedAt_;                   // when the last picture that moved was done
  std::optional<Clock::time_point> submitted_;  // one that moves and is being coded
  bool coarse_ = false;
  bool slow_ = false;  // this computer was too slow for whole pictures the last time
  int run_ = 0;  // pictures in a row that took so long, or so little, that the other way is better
};

/// What of the picture changed, 0…1; 1 when that is not known.
[[nodiscard]] double changedShare(const platform::CapturedFrame& frame);

}  // namespace tessaline
