#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/Geometry.h"
#include "platform/linux/wayland/wlroots/Proxy.h"

namespace tessaline::platform {

/// Memory shared with the compositor for one picture of 32 bits a pixel. No name of it exists in
/// the system, and nobody but this user may open it. Lives on its connection's queue.
class ShmPicture {
 public:
  /// Nothing when there is no memory for it, or none that large can be.
  static std::unique_ptr<ShmPicture> create(wl_shm& shm, PixelSize size, std::uint32_t format);
  ~ShmPicture();
  ShmPicture(const ShmPicture&) = delete;
  ShmPicture& operator=(const ShmPicture&) = delete;

  [[nodiscard]] wl_buffer* buffer() const { return buffer_.get(); }
  [[nodiscard]] PixelSize size() const { return size_; }
  [[nodiscard]] int stride() const { return size_.width * 4; }  // bytes
  [[nodiscard]] const std::uint8_t* pixel(int x, int y) const {
    return data_ + std::ptrdiff_t{y} * stride() + std::ptrdiff_t{x} * 4;
  }

 private:
  ShmPicture(PixelSize size, std::size_t bytes) : size_(size), bytes_(bytes) {}

  const PixelSize size_;
  const std::size_t bytes_;
  std::uint8_t* data_ = nullptr;
  Proxy<wl_buffer> buffer_;
};

}  // namespace tessaline::platform
