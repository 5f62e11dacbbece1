#pragma once

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Geometry.h"
#include "base/Result.h"
#include "platform/common/media/FrameComposer.h"
#include "platform/linux/x11/DisplayDirectory.h"
#include "platform/linux/x11/ShmSegment.h"
#include "platform/linux/x11/X11Connection.h"

namespace tessaline::platform {

/// Reads the pixels of one display on a connection of its own, and what of them has changed. Lives
/// on the capture queue, owned by a capture stream.
class DisplayGrabber {
 public:
  static Result<std::unique_ptr<DisplayGrabber>> open(const std::string& displayName,
                                                      DisplayTarget target, PixelSize size);
  DisplayGrabber(const DisplayGrabber&) = delete;
  DisplayGrabber& operator=(const DisplayGrabber&) = delete;

  [[nodiscard]] X11Connection& connection() { return *connection_; }

  enum class Event { other, damaged, layout };
  [[nodiscard]] Event classify(const xcb_generic_event_t& event) const;

  /// What changed since the last call, in pixels of the display; also outside of it. Read this
  /// before grabbing: what changes in between is then reported again, and nothing is lost.
  [[nodiscard]] std::vector<PixelRect> takeDamage();

  /// The pixels of `rects`, which lie inside the display and are together no larger than it; valid
  /// until the next call. Nothing when the server refused, as it does when the display is just
  /// going away.
  [[nodiscard]] std::optional<std::vector<PixelPatch>> grab(const std::vector<PixelRect>& rects);

  enum class Place { same, moved, gone, resized };
  /// Looks where the display is now.
  [[nodiscard]] Place locate();

 private:
  DisplayGrabber(std::unique_ptr<X11Connection> connection, DisplayTarget target, PixelSize size)
      : connection_(std::move(connection)), target_(target), size_(size) {}
  std::optional<std::string> prepare();
  [[nodiscard]] PixelRect currentBounds() const;

  const std::unique_ptr<X11Connection> connection_;
  const DisplayTarget target_;
  const PixelSize size_;
  PixelRect bounds_;
  std::unique_ptr<ShmSegment> memory_;  // goes before the connection
  xcb_damage_damage_t damage_ = 0;
  xcb_xfixes_region_t region_ = 0;
  std::uint8_t damageEvent_ = 0;
  std::uint8_t randrEvent_ = 0;
};

}  // namespace tessaline::platform
