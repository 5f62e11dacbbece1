#include "platform/linux/wayland/wlroots/CursorWatch.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>

#include <algorithm>

namespace tessaline::platform {
namespace {

// The largest image of a pointer that is taken; themes go up to a quarter of it.
constexpr int kLongestSide = 1024;  // pixels
constexpr std::chrono::milliseconds kBeforeRetry(100);
constexpr int kMostFailures = 20;  // one after the other

/// Straight colours, red first, of ones that are multiplied by alpha, blue first.
Bytes straightened(const ShmPicture& picture) {
  const auto [width, height] = picture.size();
  Bytes rgba(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  auto to = rgba.begin();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x, to += 4) {
      const std::uint8_t* const from = picture.pixel(x, y);
      const unsigned alpha = from[3];
      for (int i = 0; i < 3 && alpha > 0; ++i) {
        const unsigned colour = (from[2 - i] * 255U + alpha / 2) / alpha;
        to[i] = static_cast<std::uint8_t>(std::min(255U, colour));
      }
      to[3] = static_cast<std::uint8_t>(alpha);
    }
  }
  return rgba;
}

}  // namespace

struct CursorWatch::Listener {
  static CursorWatch& of(void* data) { return *static_cast<CursorWatch*>(data); }
  static constexpr ext_image_copy_capture_cursor_session_v1_listener kEvents{
      .enter = [](void* /*data*/, ext_image_copy_capture_cursor_session_v1* /*session*/) {},
      .leave =
          [](void* data, ext_image_copy_capture_cursor_session_v1* /*session*/) {
            of(data).pointer_->leave(of(data).display_);
          },
      .position = [](void* data, ext_image_copy_capture_cursor_session_v1* /*session*/,
                     std::int32_t x,
                     std::int32_t y) { of(data).pointer_->place(of(data).display_, x, y); },
      .hotspot =
          [](void* data, ext_image_copy_capture_cursor_session_v1* /*session*/, std::int32_t x,
             std::int32_t y) {
            of(data).hotSpot_ = {x, y};
          },
  };
};

CursorWatch::CursorWatch(const CopySource& source, DisplayID display,
                         std::shared_ptr<WaylandPointer> pointer, std::shared_ptr<Queue> queue)
    : source_(source), display_(display), pointer_(std::move(pointer)), queue_(std::move(queue)) {
  if (!source.pointer) return;
  cursor_.reset(ext_image_copy_capture_manager_v1_create_pointer_cursor_session(
      source.manager.get(), source.source.get(), source.pointer.get()));
  ext_image_copy_capture_cursor_session_v1_add_listener(cursor_.get(), &Listener::kEvents, this);
  CopySession::Callbacks callbacks;
  callbacks.onConstraints = [this](const CopySession::Constraints& constraints) {
    size_ = constraints.withAlpha ? constraints.size : PixelSize();
    fresh_ = false;
    requestImage();
  };
  callbacks.onReady = [this](const std::vector<PixelRect>& /*damage*/) {
    failures_ = 0;
    showImage();
    requestImage();
  };
  callbacks.onFailed = [this](CopySession::Failure failure) {
    if (failure == CopySession::Failure::otherBuffers) fresh_ = false;
    if (++failures_ > kMostFailures) return;
    retry_ = queue_->after(kBeforeRetry, [this] { requestImage(); });
  };
  callbacks.onStopped = [this] { pointer_->leave(display_); };
  images_ = std::make_unique<CopySession>(
      Proxy<ext_image_copy_capture_session_v1>(
          ext_image_copy_capture_cursor_session_v1_get_capture_session(cursor_.get())),
      std::move(callbacks));
}

CursorWatch::~CursorWatch() {
  pointer_->leave(display_);
}

void CursorWatch::requestImage() {
  if (images_->requested() || std::max(size_.width, size_.height) > kLongestSide) return;
  if (!fresh_) {
    picture_ = ShmPicture::create(*source_.shm, size_, WL_SHM_FORMAT_ARGB8888);
    fresh_ = picture_ != nullptr;
  }
  if (!picture_) return;
  images_->request(*picture_, {{0, 0, size_.width, size_.height}});
  source_.connection->flush();
}

void CursorWatch::showImage() {
  PointerImage image;
  image.width = picture_->size().width;
  image.height = picture_->size().height;
  image.hotSpotX = hotSpot_.x;
  image.hotSpotY = hotSpot_.y;
  image.rgba = straightened(*picture_);
  pointer_->show(std::move(image));
}

}  // namespace tessaline::platform
