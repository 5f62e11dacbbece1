#pragma once

#include <functional>

#include "platform/common/media/PictureEncoder.h"

namespace tessaline::platform {

/// An encoder that codes at half the width and height whatever is said to be coarse: a quarter of
/// the work for everybody on the picture's way. It owns one encoder for each of the two sizes; the
/// smaller one is opened when it is first needed. A change of size makes a key frame.
class HalvingEncoder final : public PictureEncoder {
 public:
  /// Opens an encoder of the same kind for another size; nothing when that fails.
  using Open = std::function<std::unique_ptr<PictureEncoder>(const CompressionOptions&)>;

  /// `whole` was opened for `options`.
  HalvingEncoder(std::unique_ptr<PictureEncoder> whole, const CompressionOptions& options,
                 Open open);
  ~HalvingEncoder() override;

  [[nodiscard]] std::optional<CodedFrame> encode(std::shared_ptr<const PixelBuffer> frame,
                                                 Clock::time_point presentationTime,
                                                 const FrameNotes& notes) override;
  void setBitRate(int bitsPerSecond) override;

 private:
  [[nodiscard]] PictureEncoder* half();
  [[nodiscard]] std::shared_ptr<const PixelBuffer> halved(const PixelBuffer& frame);

  const std::unique_ptr<PictureEncoder> whole_;
  CompressionOptions halfOptions_;
  Open open_;  // empty once it was tried
  std::unique_ptr<PictureEncoder> half_;
  std::shared_ptr<PixelBuffer> scaled_;  // for the next picture, unless the encoder still has it
  std::optional<bool> coarse_;           // the last picture; nothing when it was not coded
  int bitRate_ = 0;                      // 0: that of the options
};

}  // namespace tessaline::platform
