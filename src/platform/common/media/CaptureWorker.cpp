#include "platform/common/media/CaptureWorker.h"

#include <algorithm>

namespace tessaline::platform {
namespace {

// Of the minimum interval. A film of sixty frames a second against a limit of exactly sixty would
// meet its turn wherever its first frame, or a caret between two of them, has left it: up to a
// whole interval late, for as long as it plays. So the turns catch up with it, and wait for it.
constexpr double kTurnInterval = 0.95;

}  // namespace

CaptureWorker::CaptureWorker(const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                             std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks)
    : configuration_(configuration),
      queue_(std::move(queue)),
      composer_(configuration.size, configuration.queueDepth),
      main_(std::move(main)),
      callbacks_(std::move(callbacks)) {}

void CaptureWorker::start(std::function<void(std::optional<std::string> error)> done) {
  queue_->async([self = shared_from_this(), done = std::move(done)]() mutable {
    if (self->stopped()) return;
    self->onStarted_ = std::move(done);
    if (self->configuration_.showsCursor) {
      return self->started("the pointer is not part of this desktop's pictures");
    }
    self->due_ = self->turn_ = self->queue_->now();
    self->open();
  });
}

void CaptureWorker::started(std::optional<std::string> error) {
  timer_.cancel();
  if (error) {
    ended_ = true;
    close();
  }
  main_->async([self = shared_from_this(), done = std::exchange(onStarted_, nullptr), error] {
    if (!self->stopped()) done(error);  // may stop the stream: both are called on the main queue
  });
}

void CaptureWorker::stop() {
  {
    const std::lock_guard lock(callbackMutex_);
    stopped_ = true;
  }
  queue_->async([self = shared_from_this()] {
    self->ended_ = true;
    self->timer_.cancel();
    self->close();
  });
}

bool CaptureWorker::stopped() {
  const std::lock_guard lock(callbackMutex_);
  return stopped_;
}

void CaptureWorker::wake() {
  if (waiting_.exchange(false)) schedule();
}

void CaptureWorker::schedule() {
  if (scheduled_.exchange(true)) return;
  queue_->async(whileAlive([this] {
    scheduled_ = false;
    evaluate();
  }));
}

void CaptureWorker::evaluateAt(Clock::time_point time) {
  timer_ = queue_->after(time - queue_->now(), whileAlive([this] { evaluate(); }));
}

/// A program that paints as often as frames may come would else meet its turn anywhere, and its
/// changes would wait for half an interval on average.
void CaptureWorker::took(Clock::time_point time) {
  turn_ = std::max(time, turn_) +
          std::chrono::duration_cast<Duration>(configuration_.minimumFrameInterval * kTurnInterval);
  due_ = turn_ - configuration_.minimumFrameInterval / 2;
}

bool CaptureWorker::readyOrWait() {
  if (consumerReady()) return true;
  waiting_ = true;
  // What made it ready may have happened before it could see that somebody waits.
  return consumerReady() && waiting_.exchange(false);
}

bool CaptureWorker::consumerReady() {
  if (!composer_.available()) return false;
  const std::lock_guard lock(callbackMutex_);
  return !stopped_ && (!callbacks_.mayDeliver || callbacks_.mayDeliver());
}

void CaptureWorker::deliver(std::shared_ptr<const PixelBuffer> pixels,
                            std::vector<PixelRect> dirtyRects, Clock::time_point time) {
  CapturedFrame frame;
  // Whoever lets go of the last reference to the picture frees a buffer of the pool.
  const PixelBuffer* picture = pixels.get();
  frame.pixels = {picture, [owner = std::move(pixels), weak = weak_from_this()](auto*) mutable {
                    owner.reset();
                    if (const auto self = weak.lock()) self->wake();
                  }};
  frame.presentationTime = time;
  frame.dirtyRects = std::move(dirtyRects);
  const std::lock_guard lock(callbackMutex_);
  if (!stopped_) callbacks_.onFrame(std::move(frame));
}

void CaptureWorker::end(const std::string& description) {
  if (std::exchange(ended_, true)) return;
  timer_.cancel();
  queue_->async([self = shared_from_this()] { self->close(); });
  const std::lock_guard lock(callbackMutex_);
  if (!stopped_ && callbacks_.onStopped) callbacks_.onStopped(description);
}

}  // namespace tessaline::platform
