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
    : CaptureWorker(configuration, std::move(main), std::move(queue), std::move(callbacks)),
      target_(std::move(target)),
      pending_(configuration.size) {}

void CopyCapture::open() {
  if (auto error = connect()) return started(std::move(error));
  started();
  evaluate();
}

std::optional<std::string> CopyCapture::connect() {
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
  source_->connection->watch(*queue_, whileAlive([this] { evaluate(); }),
                             whileAlive([this](const std::string& reason) { end(reason); }));
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
  if (!session_ || ended()) return;
  const auto now = queue_->now();
  if (pending_.empty()) {
    const auto time = failures_ > 0 ? arrived_ + failures_ * kBeforeRetry : due_ - kOnePicture;
    return now < time ? evaluateAt(time) : request();
  }
  if (now < due_) return evaluateAt(due_);
  if (!readyOrWait()) return;
  if (!session_->requested() && now - arrived_ > kOnePicture) {
    request();
    looked_ = now + kOnePicture;
  }
  if (session_->requested() && now < looked_) return evaluateAt(looked_);
  takeFrame(now);
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
  took(now);
  request();  // before the consumer takes its time
  deliver(std::move(pixels), std::move(rects), now);
}

void CopyCapture::close() {
  cursor_.reset();
  session_.reset();
  buffers_ = {};
  source_.reset();
}

}  // namespace tessaline::platform
