#include "platform/common/media/FrameComposer.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <new>

namespace tessaline::platform {
namespace {

// A region is a list of at most so many rectangles: enough for a pointer, a caret, a clock and a
// few windows, little enough that going through it costs nothing beside a copy.
constexpr std::size_t kMaximumRects = 16;

bool covers(const PixelRect& outer, const PixelRect& inner) {
  return intersected(outer, inner) == inner;
}

/// The pixels of a picture that a buffer lacks. Rectangles may overlap, and cover more than was
/// added when there would be too many of them.
class Region {
 public:
  void add(const PixelRect& rect) {
    if (rect.empty()) return;
    for (const auto& known : rects_) {
      if (covers(known, rect)) return;
    }
    std::erase_if(rects_, [&](const PixelRect& known) { return covers(rect, known); });
    if (rects_.size() < kMaximumRects) {
      rects_.push_back(rect);
      return;
    }
    const auto growth = [&](const PixelRect& known) {
      return united(known, rect).area() - known.area();
    };
    const auto nearest = std::min_element(
        rects_.begin(), rects_.end(),
        [&](const PixelRect& a, const PixelRect& b) { return growth(a) < growth(b); });
    const PixelRect merged = united(*nearest, rect);
    rects_.erase(nearest);
    add(merged);
  }
  void clear() { rects_.clear(); }
  [[nodiscard]] const std::vector<PixelRect>& rects() const { return rects_; }
  /// An upper limit: overlaps count twice.
  [[nodiscard]] std::int64_t area() const {
    std::int64_t sum = 0;
    for (const auto& rect : rects_) sum += rect.area();
    return sum;
  }

 private:
  std::vector<PixelRect> rects_;
};

std::ptrdiff_t lumaOffset(const PixelBuffer& buffer, const PixelRect& rect) {
  return std::ptrdiff_t{rect.y} * buffer.stride() + rect.x;
}

// The interleaved plane has half the rows, and two bytes for each two pixels of a row.
std::ptrdiff_t chromaOffset(const PixelBuffer& buffer, const PixelRect& rect) {
  return std::ptrdiff_t{rect.y / 2} * buffer.stride() + rect.x;
}

void copyRect(const PixelBuffer& from, PixelBuffer& to, const PixelRect& rect) {
  const std::ptrdiff_t luma = lumaOffset(to, rect);
  const std::ptrdiff_t chroma = chromaOffset(to, rect);
  libyuv::CopyPlane(from.luma() + luma, from.stride(), to.luma() + luma, to.stride(), rect.width,
                    rect.height);
  libyuv::CopyPlane(from.chroma() + chroma, from.stride(), to.chroma() + chroma, to.stride(),
                    (rect.width + 1) / 2 * 2, (rect.height + 1) / 2);
}

void convertPatch(const PixelPatch& patch, PixelBuffer& to) {
  const PixelRect& rect = patch.rect;
  libyuv::ARGBToNV12(patch.bgra, patch.stride, to.luma() + lumaOffset(to, rect), to.stride(),
                     to.chroma() + chromaOffset(to, rect), to.stride(), rect.width, rect.height);
}

/// `patch` without what lies outside the picture, so that no mistake about a rectangle can write
/// outside a buffer.
PixelPatch clipped(const PixelPatch& patch, const PixelRect& picture) {
  assert(patch.rect.x % 2 == 0 && patch.rect.y % 2 == 0 && "chroma is shared by 2 x 2 pixels");
  PixelPatch result = patch;
  result.rect = intersected(patch.rect, picture);
  result.bgra += std::ptrdiff_t{result.rect.y - patch.rect.y} * patch.stride +
                 std::ptrdiff_t{result.rect.x - patch.rect.x} * 4;
  return result;
}

/// A picture's memory and whether someone outside the pool holds it.
struct Lease {
  explicit Lease(PixelSize size) : buffer(size) {}
  PixelBuffer buffer;
  std::atomic<bool> inUse = false;
};

std::shared_ptr<const PixelBuffer> handOut(const std::shared_ptr<Lease>& lease) {
  lease->inUse.store(true, std::memory_order_relaxed);
  // Release and acquire order the reader's last look before the composer's next write.
  return {&lease->buffer,
          [lease](const PixelBuffer*) { lease->inUse.store(false, std::memory_order_release); }};
}

}  // namespace

struct FrameComposer::Slot {
  std::shared_ptr<Lease> lease;  // made when first needed: most pools never use all their buffers
  Region missed;                 // where the newest picture differs from this one

  [[nodiscard]] bool available() const {
    return !lease || !lease->inUse.load(std::memory_order_acquire);
  }
};

FrameComposer::FrameComposer(PixelSize size, int depth)
    : size_(size), slots_(static_cast<std::size_t>(std::max(1, depth))) {}

FrameComposer::~FrameComposer() = default;

bool FrameComposer::available() const {
  return std::any_of(slots_.begin(), slots_.end(),
                     [](const Slot& slot) { return slot.available(); });
}

FrameComposer::Slot* FrameComposer::cheapestSlot() {
  const PixelRect whole{0, 0, size_.width, size_.height};
  Slot* best = nullptr;
  for (auto& slot : slots_) {
    if (!slot.available()) continue;
    if (!best || (slot.lease && (!best->lease || slot.missed.area() < best->missed.area()))) {
      best = &slot;
    }
  }
  if (best && !best->lease) {
    try {
      best->lease = std::make_shared<Lease>(size_);
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    if (newest_ >= 0) best->missed.add(whole);
  }
  return best;
}

std::shared_ptr<const PixelBuffer> FrameComposer::compose(std::span<const PixelPatch> patches) {
  const PixelRect whole{0, 0, size_.width, size_.height};
  Slot* const slot = cheapestSlot();
  if (!slot) return nullptr;
  PixelBuffer& picture = slot->lease->buffer;

  for (const auto& rect : slot->missed.rects()) {
    const bool overwritten = std::any_of(patches.begin(), patches.end(), [&](const auto& patch) {
      return covers(patch.rect, rect);
    });
    if (!overwritten) {
      copyRect(slots_[static_cast<std::size_t>(newest_)].lease->buffer, picture, rect);
    }
  }
  slot->missed.clear();

  for (const auto& patch : patches) {
    const PixelPatch inside = clipped(patch, whole);
    if (inside.rect.empty()) continue;
    convertPatch(inside, picture);
    for (auto& other : slots_) {
      if (&other == slot || !other.lease) continue;
      other.missed.add(inside.rect);
      // Overlaps must not make a copy dearer than one of the whole picture.
      if (other.missed.area() > whole.area()) other.missed.add(whole);
    }
  }
  newest_ = static_cast<int>(slot - slots_.data());
  return handOut(slot->lease);
}

}  // namespace tessaline::platform
