#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "base/Queue.h"
#include "platform/PixelBuffer.h"

namespace tessaline::platform {

enum class FrameStatus {
  complete,  ///< a new picture
  idle,      ///< nothing new, `pixels` is empty
};

struct CapturedFrame {
  FrameStatus status = FrameStatus::complete;
  std::shared_ptr<const PixelBuffer> pixels;
  Clock::time_point presentationTime;
  /// What changed since the frame before, in pixels of the picture; nothing when unknown.
  std::optional<std::vector<PixelRect>> dirtyRects;
};

struct CaptureConfiguration {
  PixelSize size;  ///< of the delivered pictures, in pixels
  /// Between two delivered frames on average, to a twentieth: one may come up to half an interval
  /// early.
  Duration minimumFrameInterval{};
  bool showsCursor = false;
  /// Frames that may be alive at once, delivered and not yet released; with all of them in use the
  /// stream waits and merges the damage.
  int queueDepth = 5;
};

/// A running capture of one display. It delivers a frame when the display's picture changes, at
/// once unless frames come faster than the minimum interval allows, and nothing while it stands
/// still. The first frame, of the whole picture, comes right after the start.
///
/// Created and stopped on the main queue; the callbacks run on the queue given at creation, never
/// after `stop` has returned, and may not destroy the stream.
class CaptureStream {
 public:
  struct Callbacks {
    std::function<void(CapturedFrame)> onFrame;
    /// The system ended the capture (the display went away, say); nothing follows.
    std::function<void(std::string description)> onStopped;
    /// Asked right before a frame would be taken: false holds it back and merges its damage into
    /// the next, until `wake`.
    std::function<bool()> mayDeliver;
  };

  virtual ~CaptureStream() = default;
  /// `done` runs on the main queue with nothing on success, else with a description.
  virtual void start(std::function<void(std::optional<std::string> error)> done) = 0;
  virtual void stop() = 0;
  /// `mayDeliver` may have a new answer. Callable from any thread, cheap when nothing waits.
  virtual void wake() = 0;
};

}  // namespace tessaline::platform
