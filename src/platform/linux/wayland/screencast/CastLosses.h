#pragma once

#include <spa/buffer/buffer.h>

#include <cstdint>
#include <span>

namespace tessaline::platform {

/// Finds what the compositor has sent that never arrived. PipeWire drops a buffer, or keeps it back
/// until the next, when this process has not taken the one before yet, and a compositor that has
/// nothing new to show does not send it again. But buffers are memory of both, and each one says
/// when it was filled, wherever it is. Of compositors that write no times nothing is found. On the
/// thread of PipeWire, owned by its CastStream.
class CastLosses {
 public:
  struct Found {
    /// Whose word on where the pointer is has not arrived, and on how it looks; may be none.
    const spa_buffer* place = nullptr;
    const spa_buffer* image = nullptr;
    bool something = false;  ///< not seen before; perhaps on its way, or in need of a push
    bool picture = false;    ///< has not arrived since the last check either: it is lost
  };

  /// A buffer has arrived.
  void arrived(const spa_buffer& buffer);
  /// Compares `buffers`, all of the stream, with what has arrived.
  [[nodiscard]] Found check(std::span<const spa_buffer* const> buffers);

 private:
  /// When something was written, in the compositor's nanoseconds; 0: never.
  struct Times {
    std::int64_t any = 0;
    std::int64_t picture = 0;
    std::int64_t image = 0;  // of the pointer
  };
  static Times timesOf(const spa_buffer& buffer);

  Times arrived_;
  std::int64_t picture_ = 0;  // the newest that was written at the last check
  // Nothing is found twice that is older than these.
  std::int64_t foundAny_ = 0;
  std::int64_t foundPicture_ = 0;
};

}  // namespace tessaline::platform
