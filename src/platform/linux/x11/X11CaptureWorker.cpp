#include "platform/linux/x11/X11CaptureWorker.h"

#include <algorithm>

namespace tessaline::platform {
namespace {

// After a change that was elsewhere on the desktop: how long the next look waits, so that a film on
// another display does not keep this capture busy. Bounds what that film can add to the latency.
constexpr Duration kPauseAfterForeignChange = std::chrono::milliseconds(4);

}  // namespace

X11CaptureWorker::X11CaptureWorker(std::string displayName, DisplayTarget target,
                                   const CaptureConfiguration& configuration,
                                   std::shared_ptr<Queue> main, std::shared_ptr<Queue> queue,
                                   CaptureStream::Callbacks callbacks)
    : CaptureWorker(configuration, std::move(main), std::move(queue), std::move(callbacks)),
      displayName_(std::move(displayName)),
      target_(target),
      pending_(configuration.size) {}

void X11CaptureWorker::open() {
  auto opened = DisplayGrabber::open(displayName_, target_, configuration_.size);
  if (!opened) return started(opened.error());
  grabber_ = std::move(*opened);
  pending_.addAll();
  grabber_->connection().watch(
      *queue_, [this](const auto& event) { handleEvent(event); }, [this] { evaluateNow(); },
      [this] { end("the X server has gone"); });
  started();
}

void X11CaptureWorker::close() {
  grabber_.reset();
}

void X11CaptureWorker::handleEvent(const xcb_generic_event_t& event) {
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

void X11CaptureWorker::evaluate() {
  if (grabber_) grabber_->connection().dispatch();
}

void X11CaptureWorker::evaluateNow() {
  if (ended() || (std::exchange(layoutChanged_, false) && !followDisplay())) return;
  if (!serverDamage_ && pending_.empty()) return;
  if (queue_->now() < due_) return evaluateAt(due_);
  if (readyOrWait()) takeFrame();
}

void X11CaptureWorker::takeFrame() {
  const auto time = queue_->now();
  if (std::exchange(serverDamage_, false)) {
    for (const PixelRect& rect : grabber_->takeDamage()) pending_.add(rect);
  }
  if (pending_.empty()) {
    due_ = time + std::min(kPauseAfterForeignChange, configuration_.minimumFrameInterval);
    return;
  }
  took(time);
  auto rects = pending_.take();
  const auto patches = grabber_->grab(rects);
  auto pixels = patches ? composer_.compose(*patches) : nullptr;
  if (pixels) return deliver(std::move(pixels), std::move(rects), time);
  // The display is going, or has moved: the events that say so decide, and until then nothing is
  // lost.
  for (const PixelRect& rect : rects) pending_.add(rect);
  layoutChanged_ = true;
  evaluateNow();
}

bool X11CaptureWorker::followDisplay() {
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

}  // namespace tessaline::platform
