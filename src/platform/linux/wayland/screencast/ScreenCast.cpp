#include "platform/linux/wayland/screencast/ScreenCast.h"

#include <utility>

#include "platform/linux/wayland/screencast/CastCapture.h"
#include "platform/linux/wayland/screencast/CastStream.h"

namespace tessaline::platform {
namespace {

class PipeWireScreenCast final : public ScreenCast {
 public:
  PipeWireScreenCast(std::shared_ptr<Queue> main, DisplayID display,
                     std::shared_ptr<WaylandPointer> pointer, Callbacks callbacks)
      : main_(std::move(main)),
        callbacks_(std::make_shared<Callbacks>(std::move(callbacks))),
        stream_(frames_, {display, std::move(pointer)}, events()) {}
  ~PipeWireScreenCast() override { frames_->end("the display went away"); }

  std::optional<std::string> open(Source source, const Wish& wish) {
    return stream_.open(source, wish);
  }

  std::unique_ptr<CaptureStream> capture(const CaptureConfiguration& configuration,
                                         std::shared_ptr<Queue> queue,
                                         CaptureStream::Callbacks callbacks) override {
    return std::make_unique<WorkerCaptureStream>(std::make_shared<CastCapture>(
        frames_, configuration, main_, std::move(queue), std::move(callbacks)));
  }

 private:
  /// The way from PipeWire's thread to the owner: on the main queue, where this object ends, its
  /// callbacks are there exactly as long as it.
  CastStream::Events events() {
    CastStream::Events events;
    events.onFormat = [main = main_, weak = std::weak_ptr(callbacks_)](PixelSize size) {
      main->async([weak, size] {
        const auto callbacks = weak.lock();
        if (callbacks && callbacks->onFormat) callbacks->onFormat(size);
      });
    };
    events.onEnded = [main = main_, weak = std::weak_ptr(callbacks_)](std::string description) {
      main->async([weak, description = std::move(description)] {
        const auto callbacks = weak.lock();
        if (callbacks && callbacks->onEnded) callbacks->onEnded(description);
      });
    };
    events.onStill = [main = main_, weak = std::weak_ptr(callbacks_)] {
      main->async([weak] {
        const auto callbacks = weak.lock();
        if (callbacks && callbacks->onStill) callbacks->onStill();
      });
    };
    return events;
  }

  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Callbacks> callbacks_;
  const std::shared_ptr<CastFrames> frames_ = std::make_shared<CastFrames>();
  CastStream stream_;
};

}  // namespace

Result<std::unique_ptr<ScreenCast>> ScreenCast::open(Queues& queues, Source source,
                                                     const Wish& wish, DisplayID display,
                                                     std::shared_ptr<WaylandPointer> pointer,
                                                     Callbacks callbacks) {
  auto cast = std::make_unique<PipeWireScreenCast>(queues.main(), display, std::move(pointer),
                                                   std::move(callbacks));
  if (auto error = cast->open(source, wish)) return Failure{std::move(*error)};
  return std::unique_ptr<ScreenCast>(std::move(cast));
}

}  // namespace tessaline::platform
