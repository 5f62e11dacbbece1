#include "platform/linux/wayland/WaylandPointer.h"

namespace tessaline::platform {

WaylandPointer::WaylandPointer(std::shared_ptr<const DisplayTable> displays)
    : displays_(std::move(displays)) {}

void WaylandPointer::place(DisplayID display, double x, double y) {
  {
    const std::lock_guard lock(mutex_);
    const Place place{display, x, y};
    if (place_ == place) return;
    place_ = place;
  }
  watchers_.tell();
}

void WaylandPointer::leave(DisplayID display) {
  {
    const std::lock_guard lock(mutex_);
    if (!place_ || place_->display != display) return;
    place_.reset();
  }
  watchers_.tell();
}

void WaylandPointer::show(PointerImage image) {
  {
    const std::lock_guard lock(mutex_);
    hidden_ = image.width <= 0 || image.height <= 0;
    if (!hidden_) {
      image.serial = ++lastSerial_;
      image_ = std::make_shared<const PointerImage>(std::move(image));
    }
  }
  watchers_.tell();
}

std::shared_ptr<void> WaylandPointer::watch(std::function<void()> moved) {
  return watchers_.add(std::move(moved));
}

std::optional<PointerLocation> WaylandPointer::location() const {
  std::optional<Place> place;
  {
    const std::lock_guard lock(mutex_);
    if (!hidden_) place = place_;
  }
  if (!place) return std::nullopt;
  const auto display = displays_->find(place->display);
  if (!display || display->pixels.width <= 0 || display->pixels.height <= 0) return std::nullopt;
  const PixelRect& bounds = display->bounds;
  return PointerLocation{bounds.x + place->x * bounds.width / display->pixels.width,
                         bounds.y + place->y * bounds.height / display->pixels.height};
}

std::shared_ptr<const PointerImage> WaylandPointer::image() const {
  const std::lock_guard lock(mutex_);
  return image_;
}

std::optional<PixelRect> WaylandPointer::bounds(DisplayID display) const {
  const auto found = displays_->find(display);
  return found ? std::optional(found->bounds) : std::nullopt;
}

}  // namespace tessaline::platform
