#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/Accessibility.h"
#include "platform/CaptureStream.h"
#include "platform/Display.h"
#include "platform/HotKey.h"
#include "platform/InputEvents.h"
#include "platform/PointerSource.h"
#include "platform/ScreenCaptureAccess.h"

namespace tessaline::platform {

/// Everything of one desktop session that shares state: its displays, their pixels and the pointer.
/// One exists per process in the main role; it outlives whatever it made. Operations are called on
/// the main queue.
class DesktopEnvironment {
 public:
  virtual ~DesktopEnvironment() = default;

  /// One word or two for the log: "X11".
  [[nodiscard]] virtual std::string kind() const = 0;

  /// Why this desktop can have no extra displays at all, as one sentence for its user; nothing when
  /// it can.
  [[nodiscard]] virtual std::optional<std::string> limitation() const { return std::nullopt; }

  /// Whether global coordinates are points, of which a HiDPI display has half as many as pixels
  /// each way. Otherwise they are pixels.
  [[nodiscard]] virtual bool hasPoints() const { return false; }

  /// A display with an identifier that is not shown yet (`VirtualDisplay::apply` does that), or
  /// nothing when the desktop has no room for one; the reason is in the log.
  [[nodiscard]] virtual std::unique_ptr<VirtualDisplay> createVirtualDisplay(
      const VirtualDisplayDescriptor& descriptor) = 0;

  /// The displays that can be captured now. A new one may take a moment to appear.
  [[nodiscard]] virtual Result<std::vector<DisplayInfo>> shareableDisplays() = 0;

  /// A capture of `display` that delivers on `queue`, not started yet.
  [[nodiscard]] virtual std::unique_ptr<CaptureStream> createCaptureStream(
      DisplayID display, const CaptureConfiguration& configuration, std::shared_ptr<Queue> queue,
      CaptureStream::Callbacks callbacks) = 0;

  /// Shared: it may be asked from a streamer's queue while the session that made it ends.
  [[nodiscard]] virtual std::shared_ptr<PointerSource> pointer() = 0;

  [[nodiscard]] virtual InputEvents& inputEvents() = 0;
  [[nodiscard]] virtual Accessibility& accessibility() = 0;
  [[nodiscard]] virtual ScreenCaptureAccess& captureAccess() = 0;

  /// Has `action` run on the main queue whenever the key is pressed, whichever program has the
  /// focus. Never empty: where another program holds the key, or the desktop has no such keys, the
  /// log says so and the action does not run.
  [[nodiscard]] virtual std::unique_ptr<HotKeyRegistration> registerHotKey(
      const HotKey& hotKey, std::function<void()> action) = 0;

  /// Runs once on the main queue when the desktop itself has gone; nothing works afterwards.
  std::function<void()> onLost;
};

}  // namespace tessaline::platform
