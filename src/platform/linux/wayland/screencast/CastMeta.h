#pragma once

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>

#include <cstdint>
#include <cstring>
#include <optional>

namespace tessaline::platform {

/// What stands beside a picture in a buffer, a copy: the other process may change it at any time.
template <typename T>
std::optional<T> castMeta(const spa_buffer& buffer, std::uint32_t type) {
  const void* const found = spa_buffer_find_meta_data(&buffer, type, sizeof(T));
  if (!found) return std::nullopt;
  T value;
  std::memcpy(&value, found, sizeof(T));
  return value;
}

/// Whether it carries a picture at all, and not only the pointer.
inline bool castHasPicture(const spa_buffer& buffer) {
  if (buffer.n_datas == 0) return false;
  spa_chunk chunk{};
  std::memcpy(&chunk, buffer.datas[0].chunk, sizeof(chunk));
  if (chunk.size == 0 || (chunk.flags & static_cast<int>(SPA_CHUNK_FLAG_CORRUPTED)) != 0) {
    return false;
  }
  const auto header = castMeta<spa_meta_header>(buffer, SPA_META_Header);
  return !header || (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) == 0;
}

}  // namespace tessaline::platform
