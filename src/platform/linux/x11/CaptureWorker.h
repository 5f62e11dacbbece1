#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/common/media/DamageList.h"
#include "platform/common/media/FrameComposer.h"
#include "platform/linux/x11/DisplayGrabber.h"

namespace tessaline::platform {

/// Turns damage of the screen into frames. It runs only when the X server reports a change: at once
/// unless the last frame is too fresh, and then by one timer. While the consumer is not ready the
/// damage stays with the server, which merges it and stays silent. Lives on the capture queue;
/// shared by its stream and by the work that it posted.
class CaptureWorker : public std::enable_shared_from_this<CaptureWorker> {
 public:
  CaptureWorker(std::string displayName, DisplayTarget target,
                const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
                std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks);

  /// From the main queue. `done` runs there, unless `stop` comes first.
  void start(std::function<void(std::optional<std::string> error)> done);
  /// From the main queue; no callback runs once it has returned.
  void stop();
  /// From any thread.
  void wake();

 private:
  std::optional<std::string> open();
  void handleEvent(const xcb_generic_event_t& event);
  /// Takes a frame if there is something to take and it is time for it.
  void evaluate();
  /// `evaluate`, from outside of the connection's event handling.
  void evaluateNow();
  [[nodiscard]] bool consumerReady();
  void takeFrame();
  void deliver(std::shared_ptr<const PixelBuffer> pixels, std::vector<PixelRect> dirtyRects,
               Clock::time_point time);
  /// False when the capture has ended for it.
  bool followDisplay();
  void end(const std::string& description);
  void close();

  const std::string displayName_;
  const DisplayTarget target_;
  const CaptureConfiguration configuration_;
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> queue_;

  std::mutex callbackMutex_;  // held while a callback runs, so that `stop` can wait for its end
  bool stopped_ = false;      // guarded by callbackMutex_
  const CaptureStream::Callbacks callbacks_;
  std::atomic<bool> waiting_ = false;  // something is to be taken as soon as the consumer is ready

  // The rest belongs to the capture queue.
  std::unique_ptr<DisplayGrabber> grabber_;
  FrameComposer composer_;
  DamageList pending_;          // known here and not grabbed yet
  bool serverDamage_ = false;   // the server knows of more
  bool layoutChanged_ = false;  // the display may be elsewhere
  Clock::time_point due_;       // of the next look at the screen
  Timer timer_;
};

}  // namespace tessaline::platform
