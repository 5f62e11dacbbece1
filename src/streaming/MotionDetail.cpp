#include "streaming/MotionDetail.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr double kMoves = 0.5;                   // of the picture's area, changed
constexpr auto kStopsAfter = 150ms;              // without such a change
constexpr std::int64_t kSmallest = 2560 * 1440;  // pixels; half of it is still a picture

// Slower than this to code leaves, with capturing, sending and showing, less than half of 60
// pictures a second. Several in a row, as anything can hold up one.
constexpr auto kSlow = 25ms;
constexpr int kSlowPictures = 5;
constexpr int kSlowPicturesAgain = 3;  // once there were five: who scrolls, scrolls on
// A whole picture takes about four times as long as a coarse one, so that this is far from slow;
// for two seconds at 60 pictures each, as each change costs a key frame.
constexpr auto kQuick = 4ms;
constexpr int kQuickPictures = 120;

}  // namespace

double changedShare(const platform::CapturedFrame& frame) {
  if (!frame.dirtyRects) return 1;
  std::int64_t changed = 0;
  for (const auto& rect : *frame.dirtyRects) changed += rect.area();
  const PixelSize size = frame.pixels->size();
  return static_cast<double>(changed) / (static_cast<double>(size.width) * size.height);
}

bool MotionDetail::submit(const platform::CapturedFrame& frame, Clock::time_point now) {
  const PixelSize size = frame.pixels->size();
  if (std::int64_t{size.width} * size.height < kSmallest) return false;
  const bool moves = changedShare(frame) > kMoves;
  if (now - movedAt_ > kStopsAfter) {
    run_ = 0;
    // What still moves was only held up, by the network or the device.
    if (!moves) stop();
  }
  if (moves) submitted_ = movedAt_ = now;
  return coarse_;
}

void MotionDetail::coded(Clock::time_point now) {
  if (!submitted_) return;
  const Duration took = now - *submitted_;
  submitted_.reset();
  movedAt_ = now;
  run_ = (coarse_ ? took < kQuick : took > kSlow) ? run_ + 1 : 0;
  const int enough = slow_ ? kSlowPicturesAgain : kSlowPictures;
  if (run_ < (coarse_ ? kQuickPictures : enough)) return;
  slow_ = coarse_ = !coarse_;
  run_ = 0;
}

void MotionDetail::stop() {
  submitted_.reset();
  coarse_ = false;
  run_ = 0;
}

}  // namespace tessaline
