#include "platform/linux/wayland/portal/PortalSeat.h"

#include <algorithm>
#include <utility>

namespace tessaline::platform {
namespace {

void mark(std::set<std::uint32_t>& held, std::uint32_t code, bool down) {
  if (down) {
    held.insert(code);
  } else {
    held.erase(code);
  }
}

}  // namespace

void PortalSeat::add(DisplayID display, std::unique_ptr<PortalInput> input) {
  lent_[display] = {std::move(input), {}, {}, {}};
}

void PortalSeat::remove(DisplayID display) {
  auto removed = lent_.extract(display);
  if (removed.empty()) return;
  const Lent& lent = removed.mapped();
  for (const auto slot : lent.touches) lent.input->touchUp(slot);
  for (const auto code : lent.buttons) lent.input->button(code, false);
  for (const auto code : lent.keys) lent.input->key(code, false);
}

bool PortalSeat::usable() const {
  return std::ranges::any_of(lent_, [](const auto& entry) { return entry.second.input->usable(); });
}

bool PortalSeat::hasTouch() const {
  return std::ranges::any_of(lent_,
                             [](const auto& entry) { return entry.second.input->hasTouch(); });
}

PortalSeat::Place PortalSeat::placeOf(PointerLocation location) {
  // The far edges are a display's too, as its picture's last pixel, where no other one begins.
  for (const bool edges : {false, true}) {
    for (auto& [id, lent] : lent_) {
      const auto display = displays_->find(id);
      if (!display || display->bounds.width <= 0 || display->bounds.height <= 0) continue;
      const auto& [bounds, pixels] = std::pair(display->bounds, display->pixels);
      const double x = (location.x - bounds.x) * pixels.width / bounds.width;
      const double y = (location.y - bounds.y) * pixels.height / bounds.height;
      const double slack = edges ? 1 : 0;
      if (!(x >= 0 && y >= 0 && x < pixels.width + slack && y < pixels.height + slack)) continue;
      current_ = id;
      return {&lent, std::min(x, pixels.width - 1.0), std::min(y, pixels.height - 1.0)};
    }
  }
  return {};
}

PortalSeat::Lent* PortalSeat::current() {
  const auto found = lent_.find(current_);
  if (found != lent_.end()) return &found->second;
  return lent_.empty() ? nullptr : &lent_.begin()->second;
}

void PortalSeat::move(PointerLocation to) {
  const Place place = placeOf(to);
  if (place.lent) place.lent->input->move(place.x, place.y);
}

void PortalSeat::button(std::uint32_t code, bool down) {
  Lent* const lent = current();
  if (!lent) return;
  mark(lent->buttons, code, down);
  lent->input->button(code, down);
}

void PortalSeat::scroll(double dx, double dy) {
  if (Lent* const lent = current()) lent->input->scroll(dx, dy);
}

void PortalSeat::touchDown(std::uint32_t slot, PointerLocation at) {
  const Place place = placeOf(at);
  if (!place.lent) return;
  place.lent->touches.insert(slot);
  place.lent->input->touchDown(slot, place.x, place.y);
}

void PortalSeat::touchUp(std::uint32_t slot) {
  for (auto& [id, lent] : lent_) {
    if (lent.touches.erase(slot) > 0) lent.input->touchUp(slot);
  }
}

void PortalSeat::key(std::uint32_t code, bool down) {
  Lent* const lent = current();
  if (!lent) return;
  mark(lent->keys, code, down);
  lent->input->key(code, down);
}

void PortalSeat::type(const std::string& text) {
  if (Lent* const lent = current()) lent->input->type(text);
}

std::size_t PortalSeat::pending() const {
  std::size_t count = 0;
  for (const auto& [id, lent] : lent_) count += lent.input->pending();
  return count;
}

}  // namespace tessaline::platform
