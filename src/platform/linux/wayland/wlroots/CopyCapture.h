#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/CaptureStream.h"
#include "platform/common/media/DamageList.h"
#include "platform/common/media/FrameComposer.h"
#include "platform/linux/wayland/wlroots/CopySession.h"
#include "platform/linux/wayland/wlroots/CopySource.h"
#include "platform/linux/wayland/wlroots/CursorWatch.h"

namespace tessaline::platform {

/// Turns the pictures of an output into frames. One request waits at the compositor, which answers
/// when something changed; a picture that the consumer is not ready for waits in its buffer, and is
/// looked at once more when it has waited long. Lives on the capture queue; shared by its stream
/// and by the work that it posted.
class CopyCapture : public std::enable_shared_from_this<CopyCapture> {
 public:
  struct Target {
    DisplayID display = 0;
    std::string output;  ///< its name; empty when there is no such display
    std::shared_ptr<WaylandPointer> pointer;
  };

  CopyCapture(Target target, const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
              std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks);

  /// From the main queue. `done` runs there, unless `stop` comes first.
  void start(std::function<void(std::optional<std::string> error)> done);
  /// From the main queue; no callback runs once it has returned.
  void stop();
  /// From any thread.
  void wake();

 private:
  struct Buffer {
    std::unique_ptr<ShmPicture> picture;
    std::vector<PixelRect> missing;  // where it is not the newest picture
  };

  std::optional<std::string> open();
  [[nodiscard]] std::optional<std::string> obstacle() const;
  void constraintsChanged(const CopySession::Constraints& constraints);
  void pictureReady(const std::vector<PixelRect>& damage);
  void pictureFailed(CopySession::Failure failure);

  /// Delivers what is there or asks for more, if it is time for it.
  void evaluate();
  void evaluateAt(Clock::time_point time);
  [[nodiscard]] bool consumerReady();
  void request();
  [[nodiscard]] bool makeBuffer(Buffer& buffer);
  void takeFrame(Clock::time_point now);
  void deliver(std::shared_ptr<const PixelBuffer> pixels, std::vector<PixelRect> dirtyRects,
               Clock::time_point time);
  void end(const std::string& description);
  void close();

  const Target target_;
  const CaptureConfiguration configuration_;
  const std::shared_ptr<Queue> main_;
  const std::shared_ptr<Queue> queue_;

  std::mutex callbackMutex_;  // held while a callback runs, so that `stop` can wait for its end
  bool stopped_ = false;      // guarded by callbackMutex_
  const CaptureStream::Callbacks callbacks_;
  std::atomic<bool> waiting_ = false;  // something is to be taken as soon as the consumer is ready

  // The rest belongs to the capture queue.
  std::optional<CopySource> source_;
  std::unique_ptr<CopySession> session_;
  std::unique_ptr<CursorWatch> cursor_;
  std::optional<CopySession::Constraints> constraints_;
  FrameComposer composer_;
  std::array<Buffer, 2> buffers_;
  std::size_t requested_ = 0;  // the buffer of the last request
  std::size_t newest_ = 0;     // the buffer with the newest picture
  bool staleBuffers_ = true;   // they are not as the compositor wants them
  bool unknown_ = true;        // the next picture may differ anywhere from the one before
  DamageList pending_;         // in the newest picture and not delivered yet
  Clock::time_point arrived_;  // when the newest picture came
  Clock::time_point due_;      // of the next frame
  Clock::time_point looked_;   // until when a look at a newer picture may take
  int failures_ = 0;           // since the last picture
  bool ended_ = false;
  Timer timer_;
};

}  // namespace tessaline::platform
