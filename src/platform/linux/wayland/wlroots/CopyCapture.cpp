#include "platform/linux/wayland/wlroots/CopyCapture.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>

#include <algorithm>

namespace tessaline::platform {
namespace {

// A compositor answers in a millisecond or two; one that takes this long hangs.
constexpr std::chrono::seconds kPatience(3);
// Longer than between two pictures of a usual display: what waited longer may be out of date, and
// what does not come within that time does not exist.
constexpr std::chrono::milliseconds kOnePicture(20);
constexpr std::chrono::milliseconds kBeforeRetry(100);
constexpr int kMostFailures = 20;  // one after the other

}  // namespace

CopyCapture::CopyCapture(Target target, const CaptureConfiguration& configuration,
                         std::shared_ptr<Queue> main, std::shared_ptr<Queue> queue,
                         CaptureStream::Callbacks callbacks)
    : target_(std::move(target)),
      configuration_(configuration),
      main_(std::move(main)),
      queue_(std::move(queue)),
      callbacks_(std::move(callbacks)),
      composer_(configuration.size, configuration.queueDepth),
      pending_(configuration.size) {}

void CopyCapture::start(std::function<void(std::optional<std::string> error)> done) {
  queue_->async([self = shared_from_this(), done = std::move(done)] {
    {
      const std::lock_guard lock(self->callbackMutex_);
      if (self->stopped_) return;
    }
    const auto error = self->open();
    if (error) self->close();
    self->main_->async([self, done, error] {
      {
        const std::lock_guard lock(self->callbackMutex_);
        if (self->stopped_) return;
      }
      done(error);  // may stop the stream: both are called on the main queue
    });
  });
}

std::optional<std::string> CopyCapture::open() {
  if (configuration_.showsCursor) return "the pointer is not part of this capture";
  if (target_.output.empty()) return "there is no such display";
  auto opened = CopySource::open(target_.output, kPatience);
  if (!opened) return opened.error();
  source_.emplace(std::move(*opened));

  CopySession::Callbacks callbacks;
  callbacks.onConstraints = [this](const auto& constraints) { constraintsChanged(constraints); };
  callbacks.onReady = [this](const auto& damage) { pictureReady(damage); };
  callbacks.onFailed = [this](CopySession::Failure failure) { pictureFailed(failure); };
  callbacks.onStopped = [this] { end("the display was switched off"); };
  session_ = std::make_unique<CopySession>(
      Proxy<ext_image_copy_capture_session_v1>(ext_image_copy_capture_manager_v1_create_session(
          source_->manager.get(), source_->source.get(), 0)),
      std::move(callbacks));
  cursor_ = std::make_unique<CursorWatch>(*source_, target_.display, target_.pointer, queue_);

  if (!source_->connection->roundtrip(kPatience)) return "the compositor does not answer";
  if (const auto problem = obstacle()) return problem;
  const auto weak = weak_from_this();
  source_->connection->watch(
      *queue_,
      [weak] {
        if (const auto self = weak.lock()) self->evaluate();
      },
      [weak](const std::string& reason) {
        if (const auto self = weak.lock()) self->end(reason);
      });
  evaluate();
  return std::nullopt;
}

std::optional<std::string> CopyCapture::obstacle() const {
  if (!constraints_) return "the compositor does not say what its pictures are like";
  if (constraints_->size != configuration_.size) return "the display has changed its size";
  if (!constraints_->withAlpha && !constraints_->withoutAlpha) {
    return "the compositor's pictures have none of the formats XRGB8888 and ARGB8888";
  }
  return std::nullopt;
}

void CopyCapture::stop() {
  {
    const std::lock_guard lock(callbackMutex_);
    stopped_ = true;
  }
  queue_->async([self = shared_from_this()] { self->close(); });
}

void CopyCapture::wake() {
  if (!waiting_.exchange(false)) return;
  queue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->evaluate();
  });
}

void CopyCapture::constraintsChanged(const CopySession::Constraints& constraints) {
  const bool first = !constraints_;
  constraints_ = constraints;
  staleBuffers_ = true;
  if (first) return;  // `open` looks at them
  if (const auto problem = obstacle()) end(*problem);
}

void CopyCapture::pictureReady(const std::vector<PixelRect>& damage) {
  failures_ = 0;
  arrived_ = queue_->now();
  newest_ = requested_;
  const PixelRect whole{0, 0, configuration_.size.width, configuration_.size.height};
  std::vector<PixelRect> changed;
  for (const PixelRect& rect : damage) {
    const bool sane = rect.x >= 0 && rect.y >= 0 && !rect.empty() &&
                      rect.width <= whole.width - rect.x && rect.height <= whole.height - rect.y;
    if (!sane) unknown_ = true;
    changed.push_back(rect);
  }
  if (std::exchange(unknown_, false)) changed.assign(1, whole);
  for (const PixelRect& rect : changed) pending_.add(rect);
  buffers_[newest_].missing.clear();
  Buffer& other = buffers_[1 - newest_];
  // The list of a buffer that is used rarely must not grow.
  if (other.missing.size() + changed.size() > 64)
    other.missing.assign(1, whole);
  else
    other.missing.insert(other.missing.end(), changed.begin(), changed.end());
}

void CopyCapture::pictureFailed(CopySession::Failure failure) {
  if (failure == CopySession::Failure::otherBuffers) staleBuffers_ = true;
  unknown_ = true;
  buffers_[requested_].missing.assign(
      1, {0, 0, configuration_.size.width, configuration_.size.height});
  if (++failures_ > kMostFailures) end("the compositor gives no pictures");
}

void CopyCapture::evaluate() {
  if (!session_ || ended_) return;
  const auto now = queue_->now();
  if (pending_.empty()) {
    const auto time = failures_ > 0 ? arrived_ + failures_ * kBeforeRetry : due_ - kOnePicture;
    return now < time ? evaluateAt(time) : request();
  }
  if (now < due_) return evaluateAt(due_);
  if (!consumerReady()) {
    waiting_ = true;
    // What made it ready may have happened before it could see that somebody waits.
    if (!consumerReady() || !waiting_.exchange(false)) return;
  }
  if (!session_->requested() && now - arrived_ > kOnePicture) {
    request();
    looked_ = now + kOnePicture;
  }
  if (session_->requested() && now < looked_) return evaluateAt(looked_);
  takeFrame(now);
}

void CopyCapture::evaluateAt(Clock::time_point time) {
  timer_ = queue_->after(time - queue_->now(), [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->evaluate();
  });
}

bool CopyCapture::consumerReady() {
  if (!composer_.available()) return false;
  const std::lock_guard lock(callbackMutex_);
  return !stopped_ && (!callbacks_.mayDeliver || callbacks_.mayDeliver());
}

void CopyCapture::request() {
  if (session_->requested()) return;
  if (std::exchange(staleBuffers_, false)) {
    // What the old ones held is in the next picture.
    buffers_ = {};
    if (!pending_.empty()) static_cast<void>(pending_.take());
    unknown_ = true;
  }
  // A picture that is still to be delivered stays as it is.
  requested_ = pending_.empty() ? newest_ : 1 - newest_;
  Buffer& buffer = buffers_[requested_];
  if (!buffer.picture && !makeBuffer(buffer)) return end("there is no memory for a picture");
  session_->request(*buffer.picture, buffer.missing);
  source_->connection->flush();
}

bool CopyCapture::makeBuffer(Buffer& buffer) {
  buffer.picture = ShmPicture::create(
      *source_->shm, configuration_.size,
      constraints_->withoutAlpha ? WL_SHM_FORMAT_XRGB8888 : WL_SHM_FORMAT_ARGB8888);
  buffer.missing.assign(1, {0, 0, configuration_.size.width, configuration_.size.height});
  return buffer.picture != nullptr;
}

void CopyCapture::takeFrame(Clock::time_point now) {
  auto rects = pending_.take();
  const ShmPicture& picture = *buffers_[newest_].picture;
  std::vector<PixelPatch> patches;
  for (const PixelRect& rect : rects) {
    patches.push_back({rect, picture.pixel(rect.x, rect.y), picture.stride()});
  }
  auto pixels = composer_.compose(patches);
  if (!pixels) {  // no memory: the picture waits for better times
    for (const PixelRect& rect : rects) pending_.add(rect);
    return evaluateAt(now + kBeforeRetry);
  }
  due_ = now + configuration_.minimumFrameInterval;
  request();  // before the consumer takes its time
  deliver(std::move(pixels), std::move(rects), now);
}

void CopyCapture::deliver(std::shared_ptr<const PixelBuffer> pixels,
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

void CopyCapture::end(const std::string& description) {
  if (std::exchange(ended_, true)) return;
  // Later: the session that calls must outlive its call.
  queue_->async([self = shared_from_this()] { self->close(); });
  const std::lock_guard lock(callbackMutex_);
  if (!stopped_ && callbacks_.onStopped) callbacks_.onStopped(description);
}

void CopyCapture::close() {
  ended_ = true;
  timer_.cancel();
  cursor_.reset();
  session_.reset();
  buffers_ = {};
  source_.reset();
}

}  // namespace tessaline::platform
