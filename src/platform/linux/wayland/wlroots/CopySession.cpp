#include "platform/linux/wayland/wlroots/CopySession.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>

#include <algorithm>
#include <utility>

namespace tessaline::platform {
namespace {

// Larger than any picture that has a buffer; keeps nonsense from overflowing.
constexpr std::uint32_t kLongestSide = 1 << 16;
// Damage of more rectangles than that is taken for all of the picture by whoever merges it.
constexpr std::size_t kMostRects = 256;

int side(std::uint32_t value) {
  return static_cast<int>(std::min(value, kLongestSide));
}

}  // namespace

struct CopySession::Listeners {
  static CopySession& of(void* data) { return *static_cast<CopySession*>(data); }

  static constexpr ext_image_copy_capture_session_v1_listener kSession{
      .buffer_size =
          [](void* data, ext_image_copy_capture_session_v1* /*session*/, std::uint32_t width,
             std::uint32_t height) {
            of(data).coming_.size = {side(width), side(height)};
          },
      .shm_format =
          [](void* data, ext_image_copy_capture_session_v1* /*session*/, std::uint32_t format) {
            Constraints& coming = of(data).coming_;
            coming.withAlpha |= format == WL_SHM_FORMAT_ARGB8888;
            coming.withoutAlpha |= format == WL_SHM_FORMAT_XRGB8888;
          },
      .dmabuf_device = [](void* /*data*/, ext_image_copy_capture_session_v1* /*session*/,
                          wl_array* /*device*/) {},
      .dmabuf_format = [](void* /*data*/, ext_image_copy_capture_session_v1* /*session*/,
                          std::uint32_t /*format*/, wl_array* /*modifiers*/) {},
      .done =
          [](void* data, ext_image_copy_capture_session_v1* /*session*/) {
            // The next ones come as a whole again.
            const auto constraints = std::exchange(of(data).coming_, {});
            of(data).callbacks_.onConstraints(constraints);
          },
      .stopped =
          [](void* data, ext_image_copy_capture_session_v1* /*session*/) {
            if (!std::exchange(of(data).stopped_, true)) of(data).callbacks_.onStopped();
          },
  };

  static constexpr ext_image_copy_capture_frame_v1_listener kFrame{
      .transform = [](void* /*data*/, ext_image_copy_capture_frame_v1* /*frame*/,
                      std::uint32_t /*transform*/) {},
      .damage =
          [](void* data, ext_image_copy_capture_frame_v1* /*frame*/, std::int32_t x, std::int32_t y,
             std::int32_t width, std::int32_t height) {
            auto& damage = of(data).damage_;
            if (damage.size() < kMostRects)
              damage.push_back({x, y, width, height});
            else
              damage.back() = united(damage.back(), {x, y, width, height});
          },
      .presentation_time = [](void* /*data*/, ext_image_copy_capture_frame_v1* /*frame*/,
                              std::uint32_t /*high*/, std::uint32_t /*low*/,
                              std::uint32_t /*nanoseconds*/) {},
      .ready =
          [](void* data, ext_image_copy_capture_frame_v1* /*frame*/) {
            CopySession& self = of(data);
            self.frame_.reset();
            self.callbacks_.onReady(std::exchange(self.damage_, {}));
          },
      .failed = [](void* data, ext_image_copy_capture_frame_v1* /*frame*/,
                   std::uint32_t reason) { of(data).failed(reason); },
  };
};

CopySession::CopySession(Proxy<ext_image_copy_capture_session_v1> session, Callbacks callbacks)
    : callbacks_(std::move(callbacks)), session_(std::move(session)) {
  ext_image_copy_capture_session_v1_add_listener(session_.get(), &Listeners::kSession, this);
}

CopySession::~CopySession() {
  frame_.reset();
}

void CopySession::request(const ShmPicture& picture, const std::vector<PixelRect>& missing) {
  if (frame_ || stopped_) return;
  damage_.clear();
  frame_.reset(ext_image_copy_capture_session_v1_create_frame(session_.get()));
  ext_image_copy_capture_frame_v1_add_listener(frame_.get(), &Listeners::kFrame, this);
  ext_image_copy_capture_frame_v1_attach_buffer(frame_.get(), picture.buffer());
  for (const PixelRect& rect : missing) {
    ext_image_copy_capture_frame_v1_damage_buffer(frame_.get(), rect.x, rect.y, rect.width,
                                                  rect.height);
  }
  ext_image_copy_capture_frame_v1_capture(frame_.get());
}

void CopySession::failed(std::uint32_t reason) {
  frame_.reset();
  if (reason == EXT_IMAGE_COPY_CAPTURE_FRAME_V1_FAILURE_REASON_STOPPED) {
    if (!std::exchange(stopped_, true)) callbacks_.onStopped();
    return;
  }
  const bool buffers = reason == EXT_IMAGE_COPY_CAPTURE_FRAME_V1_FAILURE_REASON_BUFFER_CONSTRAINTS;
  callbacks_.onFailed(buffers ? Failure::otherBuffers : Failure::again);
}

}  // namespace tessaline::platform
