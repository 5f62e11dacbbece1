#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/common/media/CaptureWorker.h"
#include "platform/common/media/DamageList.h"
#include "platform/linux/wayland/wlroots/CopySession.h"
#include "platform/linux/wayland/wlroots/CopySource.h"
#include "platform/linux/wayland/wlroots/CursorWatch.h"

namespace tessaline::platform {

/// Turns the pictures of an output into frames. One request waits at the compositor, which answers
/// when something changed; a picture that the consumer is not ready for waits in its buffer, and is
/// looked at once more when it has waited long. Lives on the capture queue.
class CopyCapture final : public CaptureWorker {
 public:
  struct Target {
    DisplayID display = 0;
    std::string output;  ///< its name; empty when there is no such display
    std::shared_ptr<WaylandPointer> pointer;
  };

  CopyCapture(Target target, const CaptureConfiguration& configuration, std::shared_ptr<Queue> main,
              std::shared_ptr<Queue> queue, CaptureStream::Callbacks callbacks);

 private:
  struct Buffer {
    std::unique_ptr<ShmPicture> picture;
    std::vector<PixelRect> missing;  // where it is not the newest picture
  };

  void open() override;
  /// Delivers what is there or asks for more, if it is time for it.
  void evaluate() override;
  void close() override;

  /// Why there will be no pictures.
  std::optional<std::string> connect();
  [[nodiscard]] std::optional<std::string> obstacle() const;
  void constraintsChanged(const CopySession::Constraints& constraints);
  void pictureReady(const std::vector<PixelRect>& damage);
  void pictureFailed(CopySession::Failure failure);

  void request();
  [[nodiscard]] bool makeBuffer(Buffer& buffer);
  void takeFrame(Clock::time_point now);

  const Target target_;
  std::optional<CopySource> source_;
  std::unique_ptr<CopySession> session_;
  std::unique_ptr<CursorWatch> cursor_;
  std::optional<CopySession::Constraints> constraints_;
  std::array<Buffer, 2> buffers_;
  std::size_t requested_ = 0;  // the buffer of the last request
  std::size_t newest_ = 0;     // the buffer with the newest picture
  bool staleBuffers_ = true;   // they are not as the compositor wants them
  bool unknown_ = true;        // the next picture may differ anywhere from the one before
  DamageList pending_;         // in the newest picture and not delivered yet
  Clock::time_point arrived_;  // when the newest picture came
  Clock::time_point looked_;   // until when a look at a newer picture may take
  int failures_ = 0;           // since the last picture
};

}  // namespace tessaline::platform
