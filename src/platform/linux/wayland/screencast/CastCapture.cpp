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
    : CaptureWorker(configuration, std::move(main), std::move(queue), std::move(callbacks)),
      frames_(std::move(frames)) {}

void CastCapture::open() {
  frames_->listen(this, configuration_.size, whileAlive([this] { schedule(); }));
  timer_ = queue_->after(kStartPatience, whileAlive([this] {
                           if (!starting()) return;
                           started("the desktop has not agreed on pictures of the display");
                         }));
  evaluate();
}

void CastCapture::stop() {
  CaptureWorker::stop();
  frames_->silence(this);
}

void CastCapture::close() {
  wholeTimer_.cancel();
  frames_->silence(this);
}

bool CastCapture::follow() {
  if (ended()) return false;
  const auto status = frames_->status();
  const auto leave = [this](const std::string& why) {
    if (starting()) {
      started(why);
    } else {
      end(why);
    }
    return false;
  };
  if (status.ended) return leave(*status.ended);
  if (!status.size) return false;
  if (*status.size != configuration_.size) return leave("the display has changed its size");
  if (starting()) started();
  return status.changed;
}

void CastCapture::evaluate() {
  if (!follow()) return;
  if (queue_->now() < due_) return evaluateAt(due_);
  if (readyOrWait()) takeFrame();
}

void CastCapture::takeFrame() {
  const auto time = queue_->now();
  auto taken = frames_->take();
  if (!taken) return;
  took(time);
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
    wholeTimer_ = queue_->after(kWholeAfterParts, whileAlive([this, whole] {
                                  if (ended()) return;
                                  frames_->putBack({whole});
                                  evaluate();
                                }));
  }
}

}  // namespace tessaline::platform
