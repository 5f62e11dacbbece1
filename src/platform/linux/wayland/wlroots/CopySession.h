#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/Geometry.h"
#include "platform/linux/wayland/wlroots/Proxy.h"
#include "platform/linux/wayland/wlroots/ShmPicture.h"

namespace tessaline::platform {

/// One session of ext-image-copy-capture-v1, of an output or of the pointer's image: what buffers
/// it wants, and one frame at a time. The compositor answers a request once the picture has
/// changed. Lives on its connection's queue. The callbacks may make requests, but not destroy this
/// object.
class CopySession {
 public:
  struct Constraints {
    PixelSize size;
    // Blue first in memory, the others are not taken.
    bool withAlpha = false;     ///< WL_SHM_FORMAT_ARGB8888
    bool withoutAlpha = false;  ///< WL_SHM_FORMAT_XRGB8888
  };
  enum class Failure { again, otherBuffers };
  struct Callbacks {
    /// What buffers have to be like from now on; at the beginning, and when that changes.
    std::function<void(const Constraints&)> onConstraints;
    /// The requested frame is in its buffer; `damage` is what has changed since the one before.
    std::function<void(std::vector<PixelRect> damage)> onReady;
    std::function<void(Failure)> onFailed;
    /// The source is gone; nothing follows.
    std::function<void()> onStopped;
  };

  CopySession(Proxy<ext_image_copy_capture_session_v1> session, Callbacks callbacks);
  ~CopySession();
  CopySession(const CopySession&) = delete;
  CopySession& operator=(const CopySession&) = delete;

  [[nodiscard]] bool requested() const { return frame_ != nullptr; }
  /// Asks for a frame in `picture`, which lives until the answer or the end of this object;
  /// `missing` is where the picture in it is not the one of the last frame.
  void request(const ShmPicture& picture, const std::vector<PixelRect>& missing);

 private:
  struct Listeners;
  void failed(std::uint32_t reason);

  const Callbacks callbacks_;
  Proxy<ext_image_copy_capture_session_v1> session_;
  Proxy<ext_image_copy_capture_frame_v1> frame_;
  Constraints coming_;
  bool stopped_ = false;
  std::vector<PixelRect> damage_;
};

}  // namespace tessaline::platform
