#include "platform/linux/wayland/screencast/CastMemory.h"

#include <fcntl.h>
#include <linux/dma-buf.h>
#include <spa/buffer/buffer.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace tessaline::platform {
namespace {

const Failure kUnreadable{
    "the desktop keeps its pictures in a kind of memory that cannot be read here"};

}  // namespace

Result<std::shared_ptr<const CastMemory>> CastMemory::map(const spa_data& data) {
  const bool graphics = data.type == SPA_DATA_DmaBuf;
  if ((!graphics && data.type != SPA_DATA_MemFd) || data.fd < 0) return kUnreadable;
  const int descriptor = static_cast<int>(data.fd);
  // A mapping past the end of the file would end this process when it is read.
  const off_t end = ::lseek(descriptor, 0, SEEK_END);
  if (end <= 0 || data.mapoffset >= static_cast<std::uint64_t>(end)) return kUnreadable;
  const std::size_t there = static_cast<std::size_t>(end) - data.mapoffset;
  const std::size_t size = data.maxsize > 0 ? data.maxsize : there;
  if (size > there) return kUnreadable;

  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const std::size_t lead = data.mapoffset % page;
  std::shared_ptr<CastMemory> memory(new CastMemory);
  void* const mapping = ::mmap(nullptr, size + lead, PROT_READ, MAP_SHARED, descriptor,
                               static_cast<off_t>(data.mapoffset - lead));
  if (mapping == MAP_FAILED) return kUnreadable;
  memory->mapping_ = mapping;
  memory->mapped_ = size + lead;
  memory->bytes_ = static_cast<const std::uint8_t*>(mapping) + lead;
  memory->size_ = size;
  if (graphics) memory->graphics_ = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  return std::shared_ptr<const CastMemory>(std::move(memory));
}

CastMemory::~CastMemory() {
  if (mapping_) ::munmap(mapping_, mapped_);
  if (graphics_ >= 0) ::close(graphics_);
}

void CastMemory::synchronise(bool begin) const {
  if (graphics_ < 0) return;
  dma_buf_sync what{};
  what.flags = DMA_BUF_SYNC_READ | (begin ? DMA_BUF_SYNC_START : DMA_BUF_SYNC_END);
  while (::ioctl(graphics_, DMA_BUF_IOCTL_SYNC, &what) < 0 && (errno == EINTR || errno == EAGAIN)) {
  }
}

}  // namespace tessaline::platform
