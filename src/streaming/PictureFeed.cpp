#include "streaming/PictureFeed.h"

#include <utility>

#include "streaming/Encoder.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr auto kStillLimit = 300ms;         // without a frame the screen counts as still
constexpr double kNoticeableChange = 0.01;  // of the picture's area

// A picture is refined when nobody scrolls or types through it any more, and is as sharp as it gets
// well within a second.
constexpr auto kRefineAfter = 150ms;
constexpr auto kRefineInterval = 100ms;
constexpr auto kRefineRetry = 30ms;  // while the link or the encoder is busy
constexpr int kRefinements = 4;

}  // namespace

bool noticeable(const platform::CapturedFrame& frame) {
  return changedShare(frame) > kNoticeableChange;
}

PictureFeed::PictureFeed(Encoder& encoder, std::shared_ptr<Queue> queue,
                         std::function<bool()> mayEncode)
    : queue_(std::move(queue)), encoder_(&encoder), mayEncode_(std::move(mayEncode)) {}

void PictureFeed::captured(platform::CapturedFrame frame) {
  const std::lock_guard lock(mutex_);
  if (!encoder_) return;
  lastFrame_ = frame.pixels;
  lastFrameTime_ = queue_->now();
  if (noticeable(frame)) owe(lastFrameTime_);
  const bool coarse = detail_.submit(frame, lastFrameTime_);
  encoder_->encode(std::move(frame.pixels), frame.presentationTime,
                   {.changed = std::move(frame.dirtyRects), .coarse = coarse});
}

void PictureFeed::coded(bool keyFrame) {
  const std::lock_guard lock(mutex_);
  if (!encoder_ || !lastFrame_) return;
  const auto now = queue_->now();
  detail_.coded(now);
  if (keyFrame) owe(now);
}

void PictureFeed::refreshKeyFrame() {
  const std::lock_guard lock(mutex_);
  if (!encoder_ || !lastFrame_ || !encoder_->forceKey()) return;
  const auto now = queue_->now();
  if (now - lastFrameTime_ > kStillLimit) encoder_->encode(lastFrame_, now, {});
}

Clock::time_point PictureFeed::lastFrameTime() const {
  const std::lock_guard lock(mutex_);
  return lastFrameTime_;
}

void PictureFeed::stop() {
  const std::lock_guard lock(mutex_);
  encoder_ = nullptr;
  mayEncode_ = nullptr;
  lastFrame_.reset();
  timer_.cancel();
}

void PictureFeed::owe(Clock::time_point time) {
  owed_ = kRefinements;
  movedAt_ = time;
  if (!waiting_) wait(kRefineAfter);
}

void PictureFeed::wait(Duration time) {
  waiting_ = true;
  timer_ = queue_->after(time, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->refine();
  });
}

void PictureFeed::refine() {
  const std::lock_guard lock(mutex_);
  waiting_ = false;
  if (!encoder_) return;
  const auto now = queue_->now();
  // A timer for each picture of a film would cost more than this one, which runs late at most once.
  if (const auto still = now - movedAt_; still < kRefineAfter) return wait(kRefineAfter - still);
  if (encoder_->forceKey() || !mayEncode_()) return wait(kRefineRetry);
  if (detail_.coarse()) {
    // A key frame, after which refinements are owed again.
    detail_.stop();
    encoder_->encode(lastFrame_, now, {});
    return wait(kRefineAfter);
  }
  encoder_->encode(lastFrame_, now, {.changed = std::vector<PixelRect>(), .refine = true});
  if (--owed_ > 0) wait(kRefineInterval);
}

}  // namespace tessaline
