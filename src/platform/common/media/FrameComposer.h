#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/Geometry.h"
#include "platform/PixelBuffer.h"

namespace tessaline::platform {

/// Freshly grabbed pixels of one rectangle of a picture: 32 bits each, blue first in memory.
struct PixelPatch {
  PixelRect rect;  ///< in the picture; its position and size are even, save at an odd right or
                   ///< bottom edge of the picture
  const std::uint8_t* bgra = nullptr;
  int stride = 0;  ///< bytes from row to row
};

/// Turns changed rectangles of a desktop into whole pictures for the encoder. It keeps a small pool
/// of picture buffers; each remembers what changed since it was last used, so that the cost of a
/// frame is that of its changes (conversion of the new ones, a copy of the missed ones), not of the
/// whole picture. Lives on the capture queue; the buffers it hands out may be released anywhere.
class FrameComposer {
 public:
  FrameComposer(PixelSize size, int depth);
  ~FrameComposer();

  /// False while every buffer of the pool is still in use by someone else.
  [[nodiscard]] bool available() const;

  /// The picture with `patches` applied; nothing when no buffer is available.
  [[nodiscard]] std::shared_ptr<const PixelBuffer> compose(std::span<const PixelPatch> patches);

 private:
  struct Slot;

  /// The free buffer that lacks least; nothing when there is none.
  Slot* cheapestSlot();

  const PixelSize size_;
  std::vector<Slot> slots_;
  int newest_ = -1;  // the slot of the last composed picture
};

}  // namespace tessaline::platform
