#pragma once

#include <memory>
#include <string>

#include "platform/common/media/CaptureWorker.h"
#include "platform/common/media/DamageList.h"
#include "platform/linux/x11/DisplayGrabber.h"

namespace tessaline::platform {

/// Turns damage of the screen into frames. It runs only when the X server reports a change: at once
/// unless the last frame is too fresh, and then by one timer. While the consumer is not ready the
/// damage stays with the server, which merges it and stays silent. Lives on the capture queue.
class X11CaptureWorker final : public CaptureWorker {
 public:
  /// `queue` must be an AsioQueue.
  X11CaptureWorker(std::string displayName, DisplayTarget target,
                   const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                   std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks);

 private:
  void open() override;
  void evaluate() override;
  void close() override;
  void handleEvent(const xcb_generic_event_t& event);
  /// `evaluate`, while the connection's events are being handled.
  void evaluateNow();
  void takeFrame();
  /// False when the capture has ended for it.
  bool followDisplay();

  const std::string displayName_;
  const DisplayTarget target_;

  std::unique_ptr<DisplayGrabber> grabber_;
  DamageList pending_;          // known here and not grabbed yet
  bool serverDamage_ = false;   // the server knows of more
  bool layoutChanged_ = false;  // the display may be elsewhere
};

}  // namespace tessaline::platform
