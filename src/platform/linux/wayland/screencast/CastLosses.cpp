#include "platform/linux/wayland/screencast/CastLosses.h"

#include <algorithm>

#include "platform/linux/wayland/screencast/CastMeta.h"

namespace tessaline::platform {

CastLosses::Times CastLosses::timesOf(const spa_buffer& buffer) {
  const auto header = castMeta<spa_meta_header>(buffer, SPA_META_Header);
  if (!header || header->pts <= 0) return {};
  Times times{.any = header->pts};
  if (castHasPicture(buffer)) times.picture = header->pts;
  const auto cursor = castMeta<spa_meta_cursor>(buffer, SPA_META_Cursor);
  if (cursor && cursor->id != 0 && cursor->bitmap_offset != 0) times.image = header->pts;
  return times;
}

void CastLosses::arrived(const spa_buffer& buffer) {
  const Times times = timesOf(buffer);
  arrived_.any = std::max(arrived_.any, times.any);
  arrived_.picture = std::max(arrived_.picture, times.picture);
  arrived_.image = std::max(arrived_.image, times.image);
}

CastLosses::Found CastLosses::check(std::span<const spa_buffer* const> buffers) {
  Found found;
  const std::int64_t lost = picture_ > arrived_.picture ? picture_ : 0;
  found.picture = lost > foundPicture_;
  foundPicture_ = std::max(foundPicture_, lost);

  Times newest = arrived_;
  for (const spa_buffer* const buffer : buffers) {
    const Times times = timesOf(*buffer);
    if (times.any > newest.any) {
      newest.any = times.any;
      found.place = buffer;
    }
    if (times.image > newest.image) {
      newest.image = times.image;
      found.image = buffer;
    }
    newest.picture = std::max(newest.picture, times.picture);
  }
  picture_ = newest.picture;
  const std::int64_t missing = std::max(newest.any > arrived_.any ? newest.any : 0,
                                        newest.picture > arrived_.picture ? newest.picture : 0);
  found.something = missing > foundAny_;
  foundAny_ = std::max(foundAny_, missing);
  return found;
}

}  // namespace tessaline::platform
