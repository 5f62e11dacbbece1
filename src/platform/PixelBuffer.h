#pragma once

#include <cstdint>
#include <memory>

#include "base/Geometry.h"

namespace tessaline::platform {

/// One picture, 8-bit 4:2:0 bi-planar ("420v", NV12), video range, BT.601. Both planes start on
/// 64-byte boundaries and so does every row. Shared and read-only once a capture stream delivered
/// it.
class PixelBuffer {
 public:
  /// Both sides must be positive; odd sizes are rounded up to whole chroma samples.
  explicit PixelBuffer(PixelSize size);

  [[nodiscard]] PixelSize size() const { return size_; }
  [[nodiscard]] int stride() const { return stride_; }  ///< bytes from row to row, both planes
  [[nodiscard]] std::uint8_t* luma() { return luma_; }
  [[nodiscard]] const std::uint8_t* luma() const { return luma_; }
  /// Interleaved Cb and Cr, half as many rows as the luma plane.
  [[nodiscard]] std::uint8_t* chroma() { return chroma_; }
  [[nodiscard]] const std::uint8_t* chroma() const { return chroma_; }

 private:
  struct Free {
    void operator()(std::uint8_t* memory) const;
  };
  PixelSize size_;
  int stride_;
  std::unique_ptr<std::uint8_t, Free> memory_;
  std::uint8_t* luma_;
  std::uint8_t* chroma_;
};

}  // namespace tessaline::platform
