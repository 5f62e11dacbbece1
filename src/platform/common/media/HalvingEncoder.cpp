#include "platform/common/media/HalvingEncoder.h"

#include <libyuv/scale.h>

#include <algorithm>
#include <utility>

namespace tessaline::platform {
namespace {

/// Half of it in whole chroma samples; never nothing.
int halfOf(int pixels) {
  return std::max(2, pixels / 2 & ~1);
}

}  // namespace

HalvingEncoder::HalvingEncoder(std::unique_ptr<PictureEncoder> whole,
                               const CompressionOptions& options, Open open)
    : whole_(std::move(whole)), halfOptions_(options), open_(std::move(open)) {
  halfOptions_.size = {halfOf(options.size.width), halfOf(options.size.height)};
}

HalvingEncoder::~HalvingEncoder() = default;

PictureEncoder* HalvingEncoder::half() {
  if (open_) {
    half_ = std::exchange(open_, nullptr)(halfOptions_);
    if (half_ && bitRate_ > 0) half_->setBitRate(bitRate_);
  }
  return half_.get();
}

std::shared_ptr<const PixelBuffer> HalvingEncoder::halved(const PixelBuffer& frame) {
  const auto [width, height] = halfOptions_.size;
  if (!scaled_ || scaled_.use_count() > 1) {
    scaled_ = std::make_shared<PixelBuffer>(halfOptions_.size);
  }
  libyuv::NV12Scale(frame.luma(), frame.stride(), frame.chroma(), frame.stride(),
                    frame.size().width, frame.size().height, scaled_->luma(), scaled_->stride(),
                    scaled_->chroma(), scaled_->stride(), width, height, libyuv::kFilterBox);
  return scaled_;
}

std::optional<CodedFrame> HalvingEncoder::encode(std::shared_ptr<const PixelBuffer> frame,
                                                 Clock::time_point presentationTime,
                                                 const FrameNotes& notes) {
  const bool coarse = notes.coarse && frame && half();
  FrameNotes asked = notes;
  asked.keyFrame |= coarse != coarse_;
  std::optional<CodedFrame> coded;
  if (coarse) {
    asked.changed.reset();  // pixels of another size
    coded = half_->encode(halved(*frame), presentationTime, asked);
  } else {
    coded = whole_->encode(std::move(frame), presentationTime, asked);
  }
  // What follows a picture that was not coded cannot count on what that was to change.
  coarse_ = coded ? std::optional(coarse) : std::nullopt;
  if (coded) coded->coarse = coarse;
  return coded;
}

void HalvingEncoder::setBitRate(int bitsPerSecond) {
  bitRate_ = bitsPerSecond;
  whole_->setBitRate(bitsPerSecond);
  if (half_) half_->setBitRate(bitsPerSecond);
}

}  // namespace tessaline::platform
