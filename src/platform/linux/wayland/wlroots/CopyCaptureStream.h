#pragma once

#include <memory>

#include "platform/linux/wayland/wlroots/CopyCapture.h"

namespace tessaline::platform {

/// CaptureStream for an output. This is the main queue's side; the work is done by a CopyCapture on
/// the capture queue, which outlives the stream until that queue has seen the stop. Owned by
/// whoever asked for it.
class CopyCaptureStream final : public CaptureStream {
 public:
  explicit CopyCaptureStream(std::shared_ptr<CopyCapture> capture) : capture_(std::move(capture)) {}
  ~CopyCaptureStream() override { capture_->stop(); }

  void start(std::function<void(std::optional<std::string> error)> done) override {
    capture_->start(std::move(done));
  }
  void stop() override { capture_->stop(); }
  void wake() override { capture_->wake(); }

 private:
  const std::shared_ptr<CopyCapture> capture_;
};

}  // namespace tessaline::platform
