#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/CaptureStream.h"
#include "platform/Display.h"
#include "platform/linux/wayland/WaylandPointer.h"

namespace tessaline::platform {

/// The consumer of one screen-cast node of PipeWire: pictures for a CaptureStream, and the pointer,
/// which comes beside them and never in them. A compositor shows a virtual monitor once somebody
/// takes its pictures, so this is opened with the display and takes (and drops) them before anyone
/// captures. Made and destroyed on the main queue, owned by its display.
class ScreenCast {
 public:
  struct Source {
    std::uint32_t node = 0;
    /// A connection to PipeWire that a portal handed over, owned from here on; -1: the session's.
    int remote = -1;
  };
  struct Wish {
    PixelSize size;
    bool fixedSize = true;  ///< false: take whatever size comes
    int framesPerSecond = 60;
  };
  struct Callbacks {
    /// The size of the pictures is agreed on, for the first time or anew. Main queue.
    std::function<void(PixelSize)> onFormat;
    /// The node, the daemon or the agreement is gone; nothing follows. Main queue, never from
    /// within `open`.
    std::function<void(std::string description)> onEnded;
    /// Something that the desktop has sent has not arrived, or something came and then nothing for
    /// a moment: PipeWire may keep the last one back until the next. Whoever can have the desktop
    /// send something that changes nothing does so now. Main queue.
    std::function<void()> onStill = nullptr;
  };

  virtual ~ScreenCast() = default;

  /// `pointer` hears of the pointer under the identifier `display`.
  [[nodiscard]] static Result<std::unique_ptr<ScreenCast>> open(
      Queues& queues, Source source, const Wish& wish, DisplayID display,
      std::shared_ptr<WaylandPointer> pointer, Callbacks callbacks);

  /// A capture of its pictures, one at a time. It may outlive this object: it is told then that the
  /// display went away.
  [[nodiscard]] virtual std::unique_ptr<CaptureStream> capture(
      const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) = 0;
};

}  // namespace tessaline::platform
