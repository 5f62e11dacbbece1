#include "platform/linux/wayland/mutter/MonitorLayout.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace tessaline::platform {
namespace {

constexpr double kHiDPIScale = 2;

bool overlap(const PixelRect& a, const PixelRect& b) {
  return !intersected(a, b).empty();
}

bool touch(const PixelRect& a, const PixelRect& b) {
  const PixelRect common = intersected(a, b);
  const bool sideBySide = a.x + a.width == b.x || b.x + b.width == a.x;
  const bool oneAboveTheOther = a.y + a.height == b.y || b.y + b.height == a.y;
  return (sideBySide && common.height > 0) || (oneAboveTheOther && common.width > 0);
}

bool fits(const PixelRect& rect, const std::vector<PixelRect>& others) {
  const auto meets = [&](const PixelRect& other) { return overlap(rect, other); };
  const auto touches = [&](const PixelRect& other) { return touch(rect, other); };
  return std::ranges::none_of(others, meets) && std::ranges::any_of(others, touches);
}

PixelPoint rightOf(const std::vector<PixelRect>& others) {
  const auto end = [](const PixelRect& rect) { return rect.x + rect.width; };
  const auto last = std::ranges::max_element(others, {}, end);
  return last == others.end() ? PixelPoint{} : PixelPoint{end(*last), last->y};
}

/// The place nearest to `wish` at a side of one of the others.
PixelPoint nearestPlace(PixelPoint wish, PixelSize size, const std::vector<PixelRect>& others) {
  const auto rectAt = [&](PixelPoint at) { return PixelRect{at.x, at.y, size.width, size.height}; };
  if (others.empty()) return {};
  if (fits(rectAt(wish), others)) return wish;
  PixelPoint best = rightOf(others);
  auto shortest = std::numeric_limits<std::int64_t>::max();
  for (const PixelRect& other : others) {
    // Along a side at least a pixel is common.
    const int x = std::clamp(wish.x, other.x - size.width + 1, other.x + other.width - 1);
    const int y = std::clamp(wish.y, other.y - size.height + 1, other.y + other.height - 1);
    for (const PixelPoint at : {PixelPoint{other.x - size.width, y},
                                {other.x + other.width, y},
                                {x, other.y - size.height},
                                {x, other.y + other.height}}) {
      const std::int64_t dx = std::int64_t{at.x} - wish.x;
      const std::int64_t dy = std::int64_t{at.y} - wish.y;
      const std::int64_t distance = dx * dx + dy * dy;
      if (distance < shortest && fits(rectAt(at), others)) {
        shortest = distance;
        best = at;
      }
    }
  }
  return best;
}

double scaleFor(const MonitorLayout::Mode& mode, double wanted) {
  // Mutter refuses scales that leave too little room; the largest that it takes is the best then.
  double best = 1;
  for (const double scale : mode.scales) {
    if (scale <= wanted && scale > best) best = scale;
  }
  return best;
}

void normalise(MonitorLayout& layout) {
  if (layout.monitors.empty()) return;
  const int left = std::ranges::min(layout.monitors, {}, &MonitorLayout::Monitor::x).x;
  const int top = std::ranges::min(layout.monitors, {}, &MonitorLayout::Monitor::y).y;
  for (auto& monitor : layout.monitors) {
    monitor.x -= left;
    monitor.y -= top;
  }
}

void keepOnePrimary(MonitorLayout& layout) {
  // Mirrored monitors are primary together.
  const auto first = std::ranges::find_if(layout.monitors, &MonitorLayout::Monitor::primary);
  const auto& chosen = first == layout.monitors.end() ? layout.monitors.front() : *first;
  const int x = chosen.x;
  const int y = chosen.y;
  for (auto& monitor : layout.monitors) monitor.primary = monitor.x == x && monitor.y == y;
}

}  // namespace

const MonitorLayout::Monitor* MonitorLayout::find(const Key& key) const {
  const auto found = std::ranges::find(monitors, key, &Monitor::key);
  return found == monitors.end() ? nullptr : &*found;
}

PixelRect MonitorLayout::bounds(const Monitor& monitor) const {
  const bool turned = monitor.transform % 2 != 0;  // by a quarter
  const double divisor = points && monitor.scale > 0 ? monitor.scale : 1;
  const auto length = [&](int pixels) { return static_cast<int>(std::lround(pixels / divisor)); };
  const int width = length(monitor.mode.size.width);
  const int height = length(monitor.mode.size.height);
  return {monitor.x, monitor.y, turned ? height : width, turned ? width : height};
}

MonitorLayout arrangedLayout(const MonitorLayout& current, const MonitorLayout* kept,
                             const std::vector<MonitorWish>& wishes) {
  MonitorLayout layout = current;
  if (layout.monitors.empty()) return layout;
  std::vector<PixelRect> taken;
  const auto isOwn = [&](const MonitorLayout::Key& key) {
    return std::ranges::find(wishes, key, &MonitorWish::key) != wishes.end();
  };
  for (auto& monitor : layout.monitors) {
    const auto* before = kept ? kept->find(monitor.key) : nullptr;
    if (before && before->mode.size == monitor.mode.size) {
      monitor.x = before->x;
      monitor.y = before->y;
      monitor.scale = before->scale;
      monitor.transform = before->transform;
      monitor.primary = before->primary;
    } else if (kept) {
      monitor.primary = false;
    }
    if (!isOwn(monitor.key)) taken.push_back(layout.bounds(monitor));
  }
  for (const MonitorWish& wish : wishes) {
    const auto own = std::ranges::find(layout.monitors, wish.key, &MonitorLayout::Monitor::key);
    if (own == layout.monitors.end()) continue;
    if (!wish.placed || !kept) own->scale = scaleFor(own->mode, wish.hiDPI ? kHiDPIScale : 1);
    const PixelRect bounds = layout.bounds(*own);
    const PixelPoint wanted = wish.placed   ? PixelPoint{own->x, own->y}
                              : wish.origin ? *wish.origin
                                            : rightOf(taken);
    const PixelPoint place = nearestPlace(wanted, {bounds.width, bounds.height}, taken);
    own->x = place.x;
    own->y = place.y;
    taken.push_back(layout.bounds(*own));
  }
  keepOnePrimary(layout);
  normalise(layout);
  return layout;
}

}  // namespace tessaline::platform
