#include "platform/linux/x11/ShmSegment.h"

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

namespace tessaline::platform {
namespace {

constexpr int kOwnerOnly = 0600;  // what the screen shows is nobody else's

/// Version 1.2 takes file descriptors.
bool takesDescriptors(const X11Connection& connection) {
  const Reply<xcb_shm_query_version_reply_t> version(xcb_shm_query_version_reply(
      connection.get(), xcb_shm_query_version(connection.get()), nullptr));
  return version && (version->major_version > 1 || version->minor_version >= 2);
}

}  // namespace

ShmSegment::ShmSegment(const X11Connection& connection, std::size_t bytes)
    : connection_(connection), bytes_(bytes), id_(xcb_generate_id(connection.get())) {}

std::unique_ptr<ShmSegment> ShmSegment::create(const X11Connection& connection, std::size_t bytes) {
  if (!connection.extension(xcb_shm_id)) return nullptr;
  std::unique_ptr<ShmSegment> segment(new ShmSegment(connection, bytes));
  if (takesDescriptors(connection) && segment->attachAnonymous()) return segment;
  if (segment->attachSysV()) return segment;
  return nullptr;
}

bool ShmSegment::attachAnonymous() {
  const int file = memfd_create("tessaline-capture", MFD_CLOEXEC);
  if (file < 0) return false;
  if (ftruncate(file, static_cast<off_t>(bytes_)) != 0) {
    close(file);
    return false;
  }
  void* memory = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) {
    close(file);
    return false;
  }
  // xcb closes the descriptor once it is sent.
  attached_ = connection_.succeeded(xcb_shm_attach_fd_checked(connection_.get(), id_, file, 0));
  if (!attached_) {
    munmap(memory, bytes_);
    return false;
  }
  data_ = static_cast<std::uint8_t*>(memory);
  return true;
}

bool ShmSegment::attachSysV() {
  const int key = shmget(IPC_PRIVATE, bytes_, IPC_CREAT | kOwnerOnly);
  if (key < 0) return false;
  void* memory = shmat(key, nullptr, 0);
  const bool mapped = reinterpret_cast<std::intptr_t>(memory) != -1;
  if (mapped) {
    const auto cookie =
        xcb_shm_attach_checked(connection_.get(), id_, static_cast<std::uint32_t>(key), 0);
    attached_ = connection_.succeeded(cookie);
  }
  shmctl(key, IPC_RMID, nullptr);  // it now lives as long as somebody has it mapped
  if (!attached_) {
    if (mapped) shmdt(memory);
    return false;
  }
  sysV_ = true;
  data_ = static_cast<std::uint8_t*>(memory);
  return true;
}

ShmSegment::~ShmSegment() {
  if (!attached_) return;
  xcb_shm_detach(connection_.get(), id_);
  if (sysV_) {
    shmdt(data_);
  } else {
    munmap(data_, bytes_);
  }
}

}  // namespace tessaline::platform
