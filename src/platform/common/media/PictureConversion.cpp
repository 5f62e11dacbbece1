#include "platform/common/media/PictureConversion.h"

#include <libyuv/convert_argb.h>
#include <libyuv/scale.h>

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace tessaline::platform {
namespace {

constexpr int kRowAlignment = 64;  // bytes, for the vector units

/// A picture with memory of its own.
class OwnPicture final : public VideoPicture {
 public:
  OwnPicture(const VideoPicture& like, PixelSize wanted) {
    size = wanted;
    layout = like.layout;
    matrix = like.matrix;
    fullRange = like.fullRange;
    const bool planar = layout == Layout::planar;
    const int stride = (wanted.width + kRowAlignment) / kRowAlignment * kRowAlignment;
    const auto lumaBytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(size.height);
    const auto chromaBytes =
        static_cast<std::size_t>(stride) * static_cast<std::size_t>((size.height + 1) / 2);
    memory_ = std::make_unique_for_overwrite<std::uint8_t[]>(lumaBytes + 2 * chromaBytes);
    planes[0] = {memory_.get(), stride};
    planes[1] = {memory_.get() + lumaBytes, stride};
    if (planar) planes[2] = {memory_.get() + lumaBytes + chromaBytes, stride};
  }

  /// To fill it, before anybody else has it.
  std::uint8_t* writable(std::size_t plane) {
    return memory_.get() + (planes[plane].data - memory_.get());
  }

 private:
  std::unique_ptr<std::uint8_t[]> memory_;
};

const libyuv::YuvConstants* constantsOf(const VideoPicture& picture) {
  switch (picture.matrix) {
    case VideoPicture::Matrix::bt709:
      return picture.fullRange ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    case VideoPicture::Matrix::bt2020:
      return picture.fullRange ? &libyuv::kYuvV2020Constants : &libyuv::kYuv2020Constants;
    case VideoPicture::Matrix::bt601:
      break;
  }
  return picture.fullRange ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
}

const std::uint8_t* at(const VideoPicture::Plane& plane, int x, int y) {
  return plane.data + static_cast<std::ptrdiff_t>(y) * plane.stride + x;
}

}  // namespace

std::shared_ptr<const VideoPicture> scalePicture(const VideoPicture& picture, PixelSize size) {
  assert(size.width > 0 && size.height > 0);
  auto result = std::make_shared<OwnPicture>(picture, size);
  const auto& from = picture.planes;
  const auto& to = result->planes;
  int failed = 0;
  if (picture.layout == VideoPicture::Layout::planar) {
    failed = libyuv::I420Scale(from[0].data, from[0].stride, from[1].data, from[1].stride,
                               from[2].data, from[2].stride, picture.size.width,
                               picture.size.height, result->writable(0), to[0].stride,
                               result->writable(1), to[1].stride, result->writable(2), to[2].stride,
                               size.width, size.height, libyuv::kFilterBox);
  } else {
    failed = libyuv::NV12Scale(from[0].data, from[0].stride, from[1].data, from[1].stride,
                               picture.size.width, picture.size.height, result->writable(0),
                               to[0].stride, result->writable(1), to[1].stride, size.width,
                               size.height, libyuv::kFilterBox);
  }
  return failed == 0 ? result : nullptr;
}

void convertPicture(const VideoPicture& picture, const PixelRect& part, std::uint8_t* pixels,
                    int stride) {
  assert(part.x >= 0 && part.y >= 0 && part.x % 2 == 0 && part.y % 2 == 0);
  assert(part.x + part.width <= picture.size.width && part.y + part.height <= picture.size.height);
  if (part.empty()) return;
  const auto* constants = constantsOf(picture);
  const auto& planes = picture.planes;
  const auto* luma = at(planes[0], part.x, part.y);
  if (picture.layout == VideoPicture::Layout::planar) {
    libyuv::I420ToARGBMatrix(luma, planes[0].stride, at(planes[1], part.x / 2, part.y / 2),
                             planes[1].stride, at(planes[2], part.x / 2, part.y / 2),
                             planes[2].stride, pixels, stride, constants, part.width, part.height);
  } else {
    libyuv::NV12ToARGBMatrix(luma, planes[0].stride, at(planes[1], part.x, part.y / 2),
                             planes[1].stride, pixels, stride, constants, part.width, part.height);
  }
}

}  // namespace tessaline::platform
