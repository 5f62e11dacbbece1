#include "platform/common/media/DamageList.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace tessaline::platform {
namespace {

// A grab from an X server costs about as much as this many pixels more of a larger one (some 20 µs
// against 1.5 µs for a thousand pixels).
constexpr std::int64_t kGrabCost = 12'000;  // pixels
constexpr std::size_t kMostRects = 32;      // bounds what a torn-up screen costs to book-keep

/// Pixels that one grab of both would take for nothing.
std::int64_t waste(const PixelRect& a, const PixelRect& b) {
  return united(a, b).area() - a.area() - b.area();
}

}  // namespace

void DamageList::add(PixelRect rect) {
  const int left = std::max(0, rect.x) & ~1;
  const int top = std::max(0, rect.y) & ~1;
  const int right = std::min(picture_.width, (rect.x + rect.width + 1) & ~1);
  const int bottom = std::min(picture_.height, (rect.y + rect.height + 1) & ~1);
  PixelRect joined{left, top, right - left, bottom - top};
  if (joined.empty()) return;
  // A joined rectangle may now be worth joining with one that was not before.
  for (bool again = true; again;) {
    again = false;
    for (std::size_t i = 0; i < rects_.size(); ++i) {
      if (waste(rects_[i], joined) > kGrabCost) continue;
      joined = united(rects_[i], joined);
      rects_[i] = rects_.back();
      rects_.pop_back();
      again = true;
      break;
    }
  }
  rects_.push_back(joined);
  if (rects_.size() > kMostRects) joinClosestPair();
}

void DamageList::joinClosestPair() {
  std::pair<std::size_t, std::size_t> closest;
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  for (std::size_t i = 0; i < rects_.size(); ++i) {
    for (std::size_t j = i + 1; j < rects_.size(); ++j) {
      const std::int64_t cost = waste(rects_[i], rects_[j]);
      if (cost >= least) continue;
      least = cost;
      closest = {i, j};
    }
  }
  const PixelRect joined = united(rects_[closest.first], rects_[closest.second]);
  rects_.erase(rects_.begin() + static_cast<std::ptrdiff_t>(closest.second));
  rects_.erase(rects_.begin() + static_cast<std::ptrdiff_t>(closest.first));
  add(joined);
}

std::vector<PixelRect> DamageList::take() {
  std::int64_t area = 0;
  for (const PixelRect& rect : rects_) area += rect.area();
  const PixelRect whole{0, 0, picture_.width, picture_.height};
  // Joined rectangles may overlap others; past this point the whole picture costs less.
  if (area > whole.area()) rects_.assign(1, whole);
  return std::exchange(rects_, {});
}

}  // namespace tessaline::platform
