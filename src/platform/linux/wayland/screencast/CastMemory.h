#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/Result.h"

struct spa_data;

namespace tessaline::platform {

/// The memory of one picture buffer that the compositor shares, mapped for reading. It stays valid
/// when PipeWire forgets the buffer, so that whoever converts a picture need not be waited for.
/// Immutable; released on any thread.
class CastMemory {
 public:
  /// Shared memory, and graphics memory that lies in rows.
  [[nodiscard]] static Result<std::shared_ptr<const CastMemory>> map(const spa_data& data);
  ~CastMemory();
  CastMemory(const CastMemory&) = delete;
  CastMemory& operator=(const CastMemory&) = delete;

  [[nodiscard]] const std::uint8_t* bytes() const { return bytes_; }
  [[nodiscard]] std::size_t size() const { return size_; }
  /// Graphics memory is slow to read, so it is read once.
  [[nodiscard]] bool quick() const { return graphics_ < 0; }

  /// Graphics memory is read between the two; elsewhere they do nothing.
  void beginReading() const { synchronise(true); }
  void endReading() const { synchronise(false); }

 private:
  CastMemory() = default;
  void synchronise(bool begin) const;

  void* mapping_ = nullptr;
  std::size_t mapped_ = 0;
  const std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
  int graphics_ = -1;  // descriptor of graphics memory
};

}  // namespace tessaline::platform
