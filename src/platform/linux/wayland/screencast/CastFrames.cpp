#include "platform/linux/wayland/screencast/CastFrames.h"

#include <utility>

namespace tessaline::platform {

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
