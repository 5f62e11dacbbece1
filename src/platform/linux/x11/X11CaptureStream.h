#pragma once

#include <memory>
#include <string>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/linux/x11/DisplayDirectory.h"

namespace tessaline::platform {

/// CaptureStream for a display of an X server. This is the main queue's side; the work is done by
/// a CaptureWorker on the capture queue, which outlives the stream until that queue has seen the
/// stop. Owned by whoever asked for it.
class X11CaptureStream final : public CaptureStream {
 public:
  /// `queue` must be an AsioQueue.
  X11CaptureStream(std::string displayName, DisplayTarget target,
                   const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                   std::shared_ptr<Queue> queue, Callbacks callbacks);
  ~X11CaptureStream() override;

  void start(std::function<void(std::optional<std::string> error)> done) override;
  void stop() override;
  void wake() override;

 private:
  const std::shared_ptr<class CaptureWorker> worker_;
};

}  // namespace tessaline::platform
