#include "stages/ShmGrabber.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>

namespace tessaline::bench {

Result<std::unique_ptr<ShmGrabber>> ShmGrabber::connect(PixelSize largest) {
  std::unique_ptr<ShmGrabber> grabber(new ShmGrabber);
  grabber->connection_ = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(grabber->connection_)) return Failure{"no X server at DISPLAY"};
  grabber->root_ = xcb_setup_roots_iterator(xcb_get_setup(grabber->connection_)).data->root;
  const auto bytes =
      static_cast<std::size_t>(largest.width) * static_cast<std::size_t>(largest.height) * 4;
  const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  if (id < 0) return Failure{"no shared memory"};
  void* memory = shmat(id, nullptr, 0);
  grabber->segment_ = xcb_generate_id(grabber->connection_);
  const auto attached = xcb_shm_attach_checked(grabber->connection_, grabber->segment_,
                                               static_cast<std::uint32_t>(id), 0);
  xcb_generic_error_t* error = xcb_request_check(grabber->connection_, attached);
  shmctl(id, IPC_RMID, nullptr);
  if (memory != reinterpret_cast<void*>(-1)) {
    grabber->memory_ = static_cast<std::uint8_t*>(memory);
  }
  if (error || !grabber->memory_) {
    std::free(error);
    return Failure{"the X server cannot share memory with this program"};
  }
  return grabber;
}

ShmGrabber::~ShmGrabber() {
  xcb_disconnect(connection_);
  if (memory_) shmdt(memory_);
}

bool ShmGrabber::grab(const PixelRect& rect) {
  const auto cookie = xcb_shm_get_image(
      connection_, root_, static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
      static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height), ~0U,
      XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0);
  xcb_shm_get_image_reply_t* reply = xcb_shm_get_image_reply(connection_, cookie, nullptr);
  std::free(reply);
  return reply != nullptr;
}

}  // namespace tessaline::bench
