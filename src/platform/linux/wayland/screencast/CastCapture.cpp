#include "platform/linux/wayland/screencast/CastCapture.h"

#include <utility>

namespace tessaline::platform {
namespace {

// How long a start waits for the desktop to agree on pictures. Mutter takes some 100 ms, a desktop
// that has just logged in a second or two.
constexpr Duration kStartPatience = std::chrono::seconds(5);

// PipeWire drops a buffer, and with it what it said about changes, when the next one comes before
// the machine got round to passing it on. So a frame of parts is followed by one of the whole
// picture within this time; a conversion twice a second costs next to nothing.
constexpr Duration kWholeAfterParts = std::chrono::milliseconds(500);

/// Reads a picture's memory for as long as it lives.
class Reading {
 public:
  explicit Reading(const CastMemory& memory) : memory_(memory) { memory_.beginReading(); }
  ~Reading() { memory_.endReading(); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

 private:
  const CastMemory& memory_;
};

}  // namespace

CastCapture::CastCapture(std::shared_ptr<CastFrames> frames,
                         const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                         std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks)
    : frames_(std::move(frames)),
      configuration_(configuration),
      main_(std::move(main)),
      queue_(std::move(queue)),
      callbacks_(std::move(callbacks)),
      composer_(configuration.size, configuration.queueDepth) {}

void CastCapture::start(std::function<void(std::optional<std::string> error)> done) {
  queue_->async([self = shared_from_this(), done = std::move(done)]() mutable {
    {
      const std::lock_guard lock(self->callbackMutex_);
      if (self->stopped_) return;
    }
    self->started_ = std::move(done);
    if (self->configuration_.showsCursor) {
      return self->finishStart("the pointer is not part of a screen cast's pictures");
    }
    self->running_ = true;
    self->due_ = self->queue_->now();
    self->frames_->listen(self.get(), self->configuration_.size, [weak = self->weak_from_this()] {
      if (const auto capture = weak.lock()) capture->schedule();
    });
    self->timer_ = self->queue_->after(kStartPatience, [weak = self->weak_from_this()] {
      const auto capture = weak.lock();
      if (capture && capture->started_) {
        capture->finishStart("the desktop has not agreed on pictures of the display");
      }
    });
    self->evaluate();
  });
}

void CastCapture::finishStart(std::optional<std::string> error) {
  timer_.cancel();
  if (error) close();
  main_->async([self = shared_from_this(), done = std::exchange(started_, nullptr), error] {
    {
      const std::lock_guard lock(self->callbackMutex_);
      if (self->stopped_) return;
    }
    done(error);  // may stop the stream: both are called on the main queue
  });
}

void CastCapture::stop() {
  {
    const std::lock_guard lock(callbackMutex_);
    stopped_ = true;
  }
  frames_->silence(this);
  queue_->async([self = shared_from_this()] { self->close(); });
}

void CastCapture::close() {
  running_ = false;
  timer_.cancel();
  wholeTimer_.cancel();
  frames_->silence(this);
}

void CastCapture::wake() {
  if (waiting_.exchange(false)) schedule();
}

void CastCapture::schedule() {
  if (scheduled_.exchange(true)) return;
  queue_->async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->scheduled_ = false;
    self->evaluate();
  });
}

bool CastCapture::follow() {
  if (!running_) return false;
  const auto status = frames_->status();
  const auto leave = [this](const std::string& why) {
    if (started_) {
      finishStart(why);
    } else {
      end(why);
    }
    return false;
  };
  if (status.ended) return leave(*status.ended);
  if (!status.size) return false;
  if (*status.size != configuration_.size) return leave("the display has changed its size");
  if (started_) finishStart(std::nullopt);
  return status.changed;
}

void CastCapture::evaluate() {
  if (!follow()) return;
  const auto now = queue_->now();
  if (now < due_) {
    timer_ = queue_->after(due_ - now, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->evaluate();
    });
    return;
  }
  if (!consumerReady()) {
    waiting_ = true;
    // What made it ready may have happened before it could see that somebody waits.
    if (!consumerReady() || !waiting_.exchange(false)) return;
  }
  takeFrame();
}

bool CastCapture::consumerReady() {
  if (!composer_.available()) return false;
  const std::lock_guard lock(callbackMutex_);
  return !stopped_ && (!callbacks_.mayDeliver || callbacks_.mayDeliver());
}

void CastCapture::takeFrame() {
  const auto time = queue_->now();
  auto taken = frames_->take();
  if (!taken) return;
  due_ = time + configuration_.minimumFrameInterval;
  followWithWhole(taken->rects);
  const CastPicture& picture = *taken->picture;
  std::vector<PixelPatch> patches;
  patches.reserve(taken->rects.size());
  for (const PixelRect& rect : taken->rects) {
    patches.push_back(
        {rect, picture.bgra + std::ptrdiff_t{rect.y} * picture.stride + std::ptrdiff_t{rect.x} * 4,
         picture.stride});
  }
  std::shared_ptr<const PixelBuffer> pixels;
  {
    const Reading reading(*picture.memory);
    pixels = composer_.compose(patches);
  }
  taken->picture.reset();  // back to the compositor, unless nothing newer has come
  if (pixels) return deliver(std::move(pixels), std::move(taken->rects), time);
  // No memory for another picture: nothing is lost, and the next change tries again.
  frames_->putBack(taken->rects);
}

void CastCapture::followWithWhole(const std::vector<PixelRect>& rects) {
  const PixelRect whole{0, 0, configuration_.size.width, configuration_.size.height};
  if (rects.front() == whole) {
    wholeTimer_.cancel();
  } else if (!wholeTimer_.active()) {
    wholeTimer_ = queue_->after(kWholeAfterParts, [weak = weak_from_this(), whole] {
      const auto self = weak.lock();
      if (!self || !self->running_) return;
      self->frames_->putBack({whole});
      self->evaluate();
    });
  }
}

void CastCapture::deliver(std::shared_ptr<const PixelBuffer> pixels,
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

void CastCapture::end(const std::string& description) {
  close();
  const std::lock_guard lock(callbackMutex_);
  if (!stopped_ && callbacks_.onStopped) callbacks_.onStopped(description);
}

}  // namespace tessaline::platform
