#include "platform/common/media/FFmpegCompressionSession.h"

#include <atomic>
#include <utility>

namespace tessaline::platform {
namespace {

// Rectangles that a waiting frame may gather from those that it replaces; with more, everything
// counts as changed.
constexpr std::size_t kMostRects = 64;

/// What `next` must say when the frame of `missed` is never coded.
void inherit(FrameNotes& next, const FrameNotes& missed) {
  next.keyFrame |= missed.keyFrame;
  if (!next.changed || !missed.changed ||
      next.changed->size() + missed.changed->size() > kMostRects) {
    next.changed.reset();
  } else {
    next.changed->insert(next.changed->end(), missed.changed->begin(), missed.changed->end());
  }
}

}  // namespace

/// What the session shares with the work that it posts. `submit` and `close` are called from any
/// thread, `run` on the session's queue.
class FFmpegCompressionSession::Worker {
 public:
  Worker(std::unique_ptr<PictureEncoder> encoder, Callbacks callbacks)
      : encoder_(std::move(encoder)), callbacks_(std::move(callbacks)) {}

  struct Job {
    std::shared_ptr<const PixelBuffer> frame;
    Clock::time_point presentationTime;
    FrameNotes notes;
  };

  /// True when `run` has to be posted for it.
  [[nodiscard]] bool submit(Job job) {
    const std::lock_guard lock(mutex_);
    const bool post = !waiting_;
    if (waiting_) inherit(job.notes, waiting_->notes);
    waiting_ = std::move(job);
    return post;
  }

  void run() {
    std::optional<Job> job;
    {
      const std::lock_guard lock(mutex_);
      job = std::exchange(waiting_, std::nullopt);
      if (!job) return;  // closed since
      coding_ = true;
    }
    if (const int rate = bitRate_.exchange(0)) encoder_->setBitRate(rate);
    auto output = encoder_->encode(std::move(job->frame), job->presentationTime, job->notes);
    const std::lock_guard delivery(deliveryMutex_);
    {
      // Whoever asks from inside the callback sees this frame as delivered.
      const std::lock_guard lock(mutex_);
      coding_ = false;
    }
    if (!closed_ && callbacks_.onOutput) callbacks_.onOutput(std::move(output));
  }

  void close() {
    const std::lock_guard delivery(deliveryMutex_);
    closed_ = true;
    const std::lock_guard lock(mutex_);
    waiting_.reset();
  }

  void setBitRate(int bitsPerSecond) { bitRate_ = bitsPerSecond; }

  [[nodiscard]] int pending() const {
    const std::lock_guard lock(mutex_);
    return (waiting_ ? 1 : 0) + (coding_ ? 1 : 0);
  }

 private:
  const std::unique_ptr<PictureEncoder> encoder_;  // used by `run` only
  const Callbacks callbacks_;

  mutable std::mutex mutex_;  // guards waiting_ and coding_
  std::optional<Job> waiting_;
  bool coding_ = false;

  std::atomic<int> bitRate_ = 0;  // to be set before the next frame; 0: stays

  std::mutex deliveryMutex_;  // held while the callback runs; guards closed_
  bool closed_ = false;
};

FFmpegCompressionSession::FFmpegCompressionSession(std::unique_ptr<PictureEncoder> encoder,
                                                   std::shared_ptr<Queue> queue,
                                                   Callbacks callbacks)
    : worker_(std::make_shared<Worker>(std::move(encoder), std::move(callbacks))),
      queue_(std::move(queue)) {}

FFmpegCompressionSession::~FFmpegCompressionSession() {
  worker_->close();
}

void FFmpegCompressionSession::encode(std::shared_ptr<const PixelBuffer> frame,
                                      Clock::time_point presentationTime, FrameNotes notes) {
  if (!worker_->submit({std::move(frame), presentationTime, std::move(notes)})) return;
  queue_->async([worker = worker_] { worker->run(); });
}

void FFmpegCompressionSession::setBitRate(int bitsPerSecond) {
  worker_->setBitRate(bitsPerSecond);
}

int FFmpegCompressionSession::pendingFrames() const {
  return worker_->pending();
}

}  // namespace tessaline::platform
