#include "platform/PixelBuffer.h"

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tessaline::platform {
namespace {

constexpr std::size_t kAlignment = 64;  // a cache line, and the widest SIMD load in use

int alignedStride(int width) {
  const int mask = static_cast<int>(kAlignment) - 1;
  return (width + mask) & ~mask;
}

}  // namespace

void PixelBuffer::Free::operator()(std::uint8_t* memory) const {
  std::free(memory);
}

PixelBuffer::PixelBuffer(PixelSize size) : size_(size), stride_(alignedStride(size.width)) {
  assert(size.width > 0 && size.height > 0);
  const auto rows = static_cast<std::size_t>((size.height + 1) / 2);
  const auto stride = static_cast<std::size_t>(stride_);
  const std::size_t bytes = stride * rows * 3;
  memory_.reset(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, bytes)));
  if (!memory_) throw std::bad_alloc();
  luma_ = memory_.get();
  chroma_ = luma_ + stride * rows * 2;
  std::memset(luma_, 16, stride * rows * 2);  // video-range black
  std::memset(chroma_, 128, stride * rows);
}

}  // namespace tessaline::platform
