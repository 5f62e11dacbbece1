#include "platform/linux/x11/CaptureWorker.h"

#include <algorithm>

namespace tessaline::platform {
namespace {

// After a change that was elsewhere on the desktop: how long the next look waits, so that a film on
// another display does not keep this capture busy. Bounds what that film can add to the latency.
constexpr Duration kPauseAfterForeignChange = std::chrono::milliseconds(4);

}  // namespace

CaptureWorker::CaptureWorker(std::string displayName, DisplayTarget target,
                             const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                             std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks)
    : displayName_(std::move(displayName)),
      target_(target),
      configuration_(configuration),
      main_(std::move(main)),
      queue_(std::move(queue)),
      callbacks_(std::move(callbacks)),
      composer_(configuration.size, configuration.queueDepth),
      pending_(configuration.size) {}

void CaptureWorker::start(std::function<void(std::optional<std::string> error)> done) {
  queue_->async([self = shared_from_this(), done = std::move(done)] {
    {
      const std::lock_guard lock(self->callbackMutex_);
      if (self->stopped_) return;
    }
    const auto error = self->open();
    self->main_->async([self, done, error] {
      {
        const std::lock_guard lock(self->callbackMutex_);
        if (self->stopped_) return;
      }
      done(error);  // may stop the stream: both are called on the main queue
    });
  });
}

std::optional<std::string> CaptureWorker::open() {
  if (configuration_.showsCursor) return "the pointer is not part of an X11 capture";
  auto opened = DisplayGrabber::open(displayName_, target_, configuration_.size);
  if (!opened) return opened.error();
  grabber_ = std::move(*opened);
  pending_.addAll();
  due_ = queue_->now();
  grabber_->connection().watch(
      *queue_, [this](const auto& event) { handleEvent(event); }, [this] { evaluate(); },
      [this] { end("the X server has gone"); });
  return std::nullopt;
}

void CaptureWorker::stop() {
  {
    const std::lock_guard lock(callbackMutex_);
    stopped_ = true;
  }
  queue_->async([self = shared_from_this()] { self->close(); });
}

void CaptureWorker::close() {
  timer_.cancel();
  grabber_.reset();
}

void CaptureWorker::wake() {
  if (!waiting_.exchange(false)) return;
  queue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->evaluateNow();
  });
}

void CaptureWorker::handleEvent(const xcb_generic_event_t& event) {
  switch (grabber_->classify(event)) {
    case DisplayGrabber::Event::damaged:
      serverDamage_ = true;
      break;
    case DisplayGrabber::Event::layout:
      layoutChanged_ = true;
      break;
    case DisplayGrabber::Event::other:
      break;
  }
}

void CaptureWorker::evaluateNow() {
  if (grabber_) grabber_->connection().dispatch();
}

void CaptureWorker::evaluate() {
  if (std::exchange(layoutChanged_, false) && !followDisplay()) return;
  if (!serverDamage_ && pending_.empty()) return;
  const auto now = queue_->now();
  if (now < due_) {
    timer_ = queue_->after(due_ - now, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->evaluateNow();
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

bool CaptureWorker::consumerReady() {
  if (!composer_.available()) return false;
  const std::lock_guard lock(callbackMutex_);
  return !stopped_ && (!callbacks_.mayDeliver || callbacks_.mayDeliver());
}

void CaptureWorker::takeFrame() {
  const auto time = queue_->now();
  if (std::exchange(serverDamage_, false)) {
    for (const PixelRect& rect : grabber_->takeDamage()) pending_.add(rect);
  }
  if (pending_.empty()) {
    due_ = time + std::min(kPauseAfterForeignChange, configuration_.minimumFrameInterval);
    return;
  }
  due_ = time + configuration_.minimumFrameInterval;
  auto rects = pending_.take();
  const auto patches = grabber_->grab(rects);
  auto pixels = patches ? composer_.compose(*patches) : nullptr;
  if (pixels) return deliver(std::move(pixels), std::move(rects), time);
  // The display is going, or has moved: the events that say so decide, and until then nothing is
  // lost.
  for (const PixelRect& rect : rects) pending_.add(rect);
  layoutChanged_ = true;
  evaluate();
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

bool CaptureWorker::followDisplay() {
  switch (grabber_->locate()) {
    case DisplayGrabber::Place::same:
      return true;
    case DisplayGrabber::Place::moved:
      pending_.addAll();
      return true;
    case DisplayGrabber::Place::resized:
      end("the display has changed its size");
      return false;
    case DisplayGrabber::Place::gone:
      end(grabber_->connection().lost() ? "the X server has gone" : "the display was switched off");
      return false;
  }
  return true;
}

void CaptureWorker::end(const std::string& description) {
  close();
  const std::lock_guard lock(callbackMutex_);
  if (!stopped_ && callbacks_.onStopped) callbacks_.onStopped(description);
}

}  // namespace tessaline::platform
