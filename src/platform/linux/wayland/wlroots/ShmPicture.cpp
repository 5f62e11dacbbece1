#include "platform/linux/wayland/wlroots/ShmPicture.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wayland-client.h>

#include <limits>

namespace tessaline::platform {
namespace {

constexpr mode_t kOwnerOnly = 0600;  // what the screen shows is nobody else's

}  // namespace

std::unique_ptr<ShmPicture> ShmPicture::create(wl_shm& shm, PixelSize size, std::uint32_t format) {
  const std::int64_t bytes = std::int64_t{size.width} * size.height * 4;
  if (size.width <= 0 || size.height <= 0 || bytes > std::numeric_limits<std::int32_t>::max()) {
    return nullptr;
  }
  std::unique_ptr<ShmPicture> picture(new ShmPicture(size, static_cast<std::size_t>(bytes)));
  const int file = memfd_create("tessaline-capture", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file < 0) return nullptr;
  void* memory = MAP_FAILED;
  if (fchmod(file, kOwnerOnly) == 0 && ftruncate(file, bytes) == 0) {
    memory = mmap(nullptr, picture->bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  }
  if (memory != MAP_FAILED) {
    picture->data_ = static_cast<std::uint8_t*>(memory);
    wl_shm_pool* const pool = wl_shm_create_pool(&shm, file, static_cast<std::int32_t>(bytes));
    picture->buffer_.reset(
        wl_shm_pool_create_buffer(pool, 0, size.width, size.height, picture->stride(), format));
    wl_shm_pool_destroy(pool);
  }
  close(file);
  return picture->buffer_ ? std::move(picture) : nullptr;
}

ShmPicture::~ShmPicture() {
  buffer_.reset();
  if (data_) munmap(data_, bytes_);
}

}  // namespace tessaline::platform
