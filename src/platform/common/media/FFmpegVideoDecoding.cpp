extern "C" {
#include <libavutil/log.h>
}

#include "platform/common/media/FFmpegDecompressionSession.h"
#include "platform/common/media/MediaVideoDecoding.h"
#include "platform/common/media/PictureConversion.h"
#include "platform/common/media/PointerPng.h"
#include "platform/common/media/SequenceParameterSet.h"

namespace tessaline::platform {
namespace {

constexpr std::uint8_t kUnitTypeMask = 31;
constexpr std::uint8_t kPictureParameterSet = 8;

class FFmpegVideoDecoding final : public VideoDecoding {
 public:
  explicit FFmpegVideoDecoding(Queues& queues) : queues_(queues) {
    // libavcodec has a line for each damaged macroblock; this room's own lines are enough.
    av_log_set_level(AV_LOG_QUIET);
  }

  std::optional<VideoFormat> readFormat(const ParameterSets& sets) override {
    const auto size = visiblePictureSize(sets.sequence);
    if (!size || sets.picture.empty() ||
        (sets.picture.front() & kUnitTypeMask) != kPictureParameterSet) {
      return std::nullopt;
    }
    return VideoFormat{sets, *size};
  }

  std::unique_ptr<DecompressionSession> createDecompressionSession(
      DecompressionSession::Callbacks callbacks) override {
    return std::make_unique<FFmpegDecompressionSession>(queues_.thread("tessaline.decode"),
                                                        std::move(callbacks));
  }

  std::shared_ptr<const VideoPicture> scale(const VideoPicture& picture, PixelSize size) override {
    return scalePicture(picture, size);
  }

  void convert(const VideoPicture& picture, const PixelRect& part, std::uint8_t* pixels,
               int stride) override {
    convertPicture(picture, part, pixels, stride);
  }

  std::optional<PointerImage> decodePng(ByteView file) override { return decodePointerPng(file); }

 private:
  Queues& queues_;
};

}  // namespace

std::unique_ptr<VideoDecoding> createVideoDecoding(Queues& queues) {
  return std::make_unique<FFmpegVideoDecoding>(queues);
}

}  // namespace tessaline::platform
