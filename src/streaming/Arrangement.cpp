#include "streaming/Arrangement.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace tessaline {
namespace {

constexpr std::string_view kArrangementKey = "arrangement";
constexpr std::size_t kMaxRemembered = 200;  // displays; more are not one person's
constexpr int kFarthest = 1 << 20;           // pixels; no desktop is that wide

const platform::DisplayInfo* primaryOf(const Arrangement::Displays& displays) {
  if (displays.empty()) return nullptr;
  const auto chosen = std::ranges::find(displays, true, &platform::DisplayInfo::primary);
  if (chosen != displays.end()) return &*chosen;
  return &*std::ranges::min_element(displays, {}, [](const platform::DisplayInfo& display) {
    return std::pair(display.bounds.x, display.bounds.y);
  });
}

bool overlap(int start, int length, int otherStart, int otherLength) {
  return start < otherStart + otherLength && otherStart < start + length;
}

/// No overlap with any, and a whole piece of an edge in common with one: the pointer gets there.
bool fits(const PixelRect& place, const Arrangement::Displays& others) {
  bool touches = false;
  for (const auto& other : others) {
    const PixelRect& rect = other.bounds;
    const bool columns = overlap(place.x, place.width, rect.x, rect.width);
    const bool rows = overlap(place.y, place.height, rect.y, rect.height);
    if (columns && rows) return false;
    const bool beside = place.x == rect.x + rect.width || place.x + place.width == rect.x;
    const bool above = place.y == rect.y + rect.height || place.y + place.height == rect.y;
    touches = touches || (rows && beside) || (columns && above);
  }
  return touches;
}

/// Right of all others, level with the one that it touches.
bool usual(const PixelRect& place, const Arrangement::Displays& others) {
  const auto last = std::ranges::max_element(others, {}, [](const platform::DisplayInfo& display) {
    return display.bounds.x + display.bounds.width;
  });
  return place.x == last->bounds.x + last->bounds.width && place.y == last->bounds.y;
}

std::optional<PixelPoint> parse(std::string_view text) {
  PixelPoint point;
  const char* const end = text.data() + text.size();
  const auto x = std::from_chars(text.data(), end, point.x);
  if (x.ec != std::errc() || x.ptr == end || *x.ptr != ',') return std::nullopt;
  const auto y = std::from_chars(x.ptr + 1, end, point.y);
  if (y.ec != std::errc() || y.ptr != end) return std::nullopt;
  const auto sane = [](int value) { return value >= -kFarthest && value <= kFarthest; };
  return sane(point.x) && sane(point.y) ? std::optional(point) : std::nullopt;
}

}  // namespace

std::optional<PixelPoint> Arrangement::offset(const PixelRect& bounds, const Displays& others) {
  const auto* primary = primaryOf(others);
  if (!primary) return std::nullopt;
  return PixelPoint{bounds.x - primary->bounds.x, bounds.y - primary->bounds.y};
}

std::optional<PixelPoint> Arrangement::placeFor(std::uint32_t serialNumber, PixelSize size,
                                                const Displays& others) const {
  const auto remembered = defaults_.dictionary(kArrangementKey);
  const auto* primary = primaryOf(others);
  if (!remembered || !primary) return std::nullopt;
  const auto entry = remembered->find(std::to_string(serialNumber));
  if (entry == remembered->end()) return std::nullopt;
  const auto offset = parse(entry->second);
  if (!offset) return std::nullopt;
  const PixelPoint place{primary->bounds.x + offset->x, primary->bounds.y + offset->y};
  if (!fits({place.x, place.y, size.width, size.height}, others)) return std::nullopt;
  return place;
}

void Arrangement::remember(std::uint32_t serialNumber, const PixelRect& bounds,
                           const Displays& others) {
  const auto place = offset(bounds, others);
  if (!place) return;
  auto remembered = defaults_.dictionary(kArrangementKey).value_or(UserDefaults::Dictionary());
  const std::string key = std::to_string(serialNumber);
  if (usual(bounds, others)) {
    if (remembered.erase(key) == 0) return;
  } else {
    if (remembered.size() >= kMaxRemembered && !remembered.contains(key)) {
      remembered.erase(remembered.begin());
    }
    remembered[key] = std::to_string(place->x) + "," + std::to_string(place->y);
  }
  defaults_.set(kArrangementKey, remembered);
}

}  // namespace tessaline
