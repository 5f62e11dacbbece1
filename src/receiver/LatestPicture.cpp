#include "receiver/LatestPicture.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "receiver/PointerPlacement.h"

namespace tessaline {

LatestPicture::LatestPicture(Queues& queues, platform::VideoDecoding& decoding)
    : queues_(queues), decoding_(decoding), main_(queues.main()) {}

void LatestPicture::show(Picture picture) {
  const std::lock_guard lock(mutex_);
  if (!picture) ++epoch_;
  newest_ = picture;
  const auto changed = picture ? picture->changed : std::nullopt;
  forward(std::move(picture), changed);
}

void LatestPicture::scaleTo(PixelSize view) {
  const std::lock_guard lock(mutex_);
  if (view == view_) return;
  view_ = view;
  ++epoch_;
  if (newest_) forward(newest_, std::nullopt);
}

PixelSize LatestPicture::fitted(const Picture& picture) const {
  if (!picture || view_.width <= 0 || view_.height <= 0) return {};
  const ViewRect fit = aspectFit(picture->size, view_);
  return {std::max(1, static_cast<int>(std::lround(fit.width))),
          std::max(1, static_cast<int>(std::lround(fit.height)))};
}

void LatestPicture::forward(Picture picture, std::optional<PixelRect> changed) {
  const PixelSize size = fitted(picture);
  if (size == PixelSize{} || size == picture->size) {
    place(std::move(picture), changed);
    return;
  }
  if (std::exchange(scaling_, true)) return;
  if (!scaler_) scaler_ = queues_.thread("tessaline.scale");
  scaler_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->scaleNewest();
  });
}

void LatestPicture::scaleNewest() {
  std::unique_lock lock(mutex_);
  const Picture picture = newest_;
  const PixelSize size = fitted(picture);
  const int epoch = epoch_;
  if (size != PixelSize{}) {
    lock.unlock();
    Picture scaled = decoding_.scale(*picture, size);
    lock.lock();
    // One of another size that came meanwhile may be shown already, being as large as the view.
    if (scaled && epoch == epoch_ && newest_->size == picture->size) {
      place(std::move(scaled), std::nullopt);
    }
  }
  scaling_ = false;
  // A picture that stays may be the last for long: it is also due again in the view's new size.
  if (newest_ && (newest_ != picture || epoch != epoch_)) forward(newest_, std::nullopt);
}

void LatestPicture::place(Picture picture, std::optional<PixelRect> changed) {
  ready_ = std::move(picture);
  if (std::exchange(delivering_, true)) {
    // It also changed where the one did that nobody will see.
    changed_ = changed && changed_ ? std::optional(united(*changed, *changed_)) : std::nullopt;
    return;
  }
  changed_ = changed;
  main_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->deliver();
  });
}

void LatestPicture::deliver() {
  Picture picture;
  std::optional<PixelRect> changed;
  {
    const std::lock_guard lock(mutex_);
    picture = std::exchange(ready_, nullptr);
    changed = changed_;
    delivering_ = false;
  }
  if (onPicture) onPicture(std::move(picture), changed);
}

}  // namespace tessaline
