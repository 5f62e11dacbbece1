#include "platform/linux/wayland/screencast/CastFrames.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tessaline::platform {
namespace {

constexpr int kBand = 32;  // rows that count as one when pictures are compared

bool same(const CastPicture& a, const CastPicture& b, int firstRow, int rows) {
  const auto bytes = static_cast<std::size_t>(a.size.width) * 4;
  for (int row = firstRow; row < firstRow + rows; ++row) {
    if (std::memcmp(a.bgra + std::ptrdiff_t{row} * a.stride,
                    b.bgra + std::ptrdiff_t{row} * b.stride, bytes) != 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

void CastFrames::tell() {
  std::function<void()> onChange;
  {
    const std::lock_guard lock(mutex_);
    onChange = onChange_;
  }
  if (onChange) onChange();
}

void CastFrames::resize(PixelSize size) {
  std::shared_ptr<const CastPicture> old;
  {
    const std::lock_guard lock(mutex_);
    if (newest_ && newest_->size != size) old = std::exchange(newest_, nullptr);
    size_ = size;
  }
  tell();
}

std::optional<std::vector<PixelRect>> CastFrames::changesIn(const CastPicture& picture) const {
  std::shared_ptr<const CastPicture> before;
  {
    const std::lock_guard lock(mutex_);
    before = newest_;
  }
  if (!before || before->size != picture.size || before->memory == picture.memory ||
      !before->memory->quick() || !picture.memory->quick()) {
    return std::nullopt;
  }
  std::vector<PixelRect> changes;
  for (int y = 0; y < picture.size.height; y += kBand) {
    const int rows = std::min(kBand, picture.size.height - y);
    if (same(*before, picture, y, rows)) continue;
    if (!changes.empty() && changes.back().y + changes.back().height == y) {
      changes.back().height += rows;
    } else {
      changes.push_back({0, y, picture.size.width, rows});
    }
  }
  return changes;
}

void CastFrames::replace(std::shared_ptr<const CastPicture> newest,
                         const std::optional<std::vector<PixelRect>>& damage) {
  {
    const std::lock_guard lock(mutex_);
    newest_.swap(newest);
    if (damage_ && damage) {
      for (const PixelRect& rect : *damage) damage_->add(rect);
    } else if (damage_) {
      damage_->addAll();
    }
  }
  newest.reset();  // the one before goes back to the compositor
  tell();
}

void CastFrames::end(const std::string& description) {
  std::shared_ptr<const CastPicture> old;
  {
    const std::lock_guard lock(mutex_);
    if (ended_) return;
    ended_ = description;
    old = std::exchange(newest_, nullptr);
  }
  tell();
}

void CastFrames::listen(const void* listener, PixelSize size, std::function<void()> onChange) {
  const std::lock_guard lock(mutex_);
  listener_ = listener;
  onChange_ = std::move(onChange);
  captured_ = size;
  damage_.emplace(size);
  damage_->addAll();
}

void CastFrames::silence(const void* listener) {
  const std::lock_guard lock(mutex_);
  if (listener_ != listener) return;
  listener_ = nullptr;
  onChange_ = nullptr;
  damage_.reset();
}

CastFrames::Status CastFrames::status() const {
  const std::lock_guard lock(mutex_);
  return {ended_, size_, newest_ && damage_ && !damage_->empty()};
}

std::optional<CastFrames::Taken> CastFrames::take() {
  const std::lock_guard lock(mutex_);
  if (!newest_ || newest_->size != captured_ || !damage_ || damage_->empty()) return std::nullopt;
  return Taken{newest_, damage_->take()};
}

void CastFrames::putBack(const std::vector<PixelRect>& rects) {
  const std::lock_guard lock(mutex_);
  if (!damage_) return;
  for (const PixelRect& rect : rects) damage_->add(rect);
}

}  // namespace tessaline::platform
