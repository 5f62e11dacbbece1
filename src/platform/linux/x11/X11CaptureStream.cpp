#include "platform/linux/x11/X11CaptureStream.h"

#include "platform/linux/x11/CaptureWorker.h"

namespace tessaline::platform {

X11CaptureStream::X11CaptureStream(std::string displayName, DisplayTarget target,
                                   const CaptureConfiguration& configuration,
                                   std::shared_ptr<Queue> main, std::shared_ptr<Queue> queue,
                                   Callbacks callbacks)
    : worker_(std::make_shared<CaptureWorker>(std::move(displayName), target, configuration,
                                              std::move(main), std::move(queue),
                                              std::move(callbacks))) {}

X11CaptureStream::~X11CaptureStream() {
  worker_->stop();
}

void X11CaptureStream::start(std::function<void(std::optional<std::string> error)> done) {
  worker_->start(std::move(done));
}

void X11CaptureStream::stop() {
  worker_->stop();
}

void X11CaptureStream::wake() {
  worker_->wake();
}

}  // namespace tessaline::platform
