extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <array>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "base/Log.h"
#include "platform/common/media/EncoderRecipes.h"
#include "platform/common/media/FFmpegCompressionSession.h"
#include "platform/common/media/HalvingEncoder.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/common/media/PointerPng.h"

namespace tessaline::platform {
namespace {

/// An encoder that needs a device, and where the device shows.
struct HardwareEncoder {
  const char* name;
  const char* device;   // a path that exists where the machine has the device
  const char* absence;  // what to say when it does not
  EncoderRecipe (*recipe)();
};

constexpr std::array<HardwareEncoder, 2> kHardwareEncoders = {{
    {"NVENC", "/dev/nvidiactl", "no NVIDIA device", nvencRecipe},
    {"VA-API", "/dev/dri", "no render node", vaapiRecipe},
}};

std::string describe(int status) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(status, text.data(), text.size());
  return text.data();
}

class FFmpegVideoCoding final : public VideoCoding {
 public:
  explicit FFmpegVideoCoding(Queues& queues) : queues_(queues) {
    // Failing probes and the encoders' statistics are not news; this room's own lines are.
    av_log_set_level(AV_LOG_QUIET);
  }

  Result<std::unique_ptr<CompressionSession>> createCompressionSession(
      const CompressionOptions& options, CompressionSession::Callbacks callbacks) override {
    std::string refusals;
    std::unique_ptr<PictureEncoder> encoder = openHardware(options, refusals);
    if (!encoder) {
      encoder = openSoftware(options);
      if (!encoder) return Failure{std::to_string(AVERROR(EINVAL))};
      announce("encoder: x264 (no hardware encoder: " + refusals + ")");
      encoder = std::make_unique<HalvingEncoder>(std::move(encoder), options, openSoftware);
    }
    return std::unique_ptr<CompressionSession>(std::make_unique<FFmpegCompressionSession>(
        std::move(encoder), queues_.thread("tessaline.encode"), std::move(callbacks)));
  }

  Bytes encodePng(const PointerImage& image) override { return encodePointerPng(image); }

 private:
  static std::unique_ptr<PictureEncoder> openSoftware(const CompressionOptions& options) {
    return X264Encoder::open(x264Recipe(std::thread::hardware_concurrency()), options);
  }

  /// The first hardware encoder that opens, with its log line; else why none did.
  std::unique_ptr<PictureEncoder> openHardware(const CompressionOptions& options,
                                               std::string& refusals) {
    for (const auto& hardware : kHardwareEncoders) {
      std::error_code ignored;
      std::string refusal = hardware.absence;
      if (std::filesystem::exists(hardware.device, ignored)) {
        auto opened = H264Encoder::open(hardware.recipe(), options);
        if (opened.encoder) {
          announce("encoder: " + hardware.recipe().codec + " (this machine's hardware)");
          return std::move(opened.encoder);
        }
        refusal = std::string(hardware.name) + ": " + describe(opened.status);
      }
      if (!refusals.empty()) refusals += ", ";
      refusals += refusal;
    }
    return nullptr;
  }

  /// Says it once, not for each of the sessions that a screen may begin every two seconds.
  void announce(const std::string& line) {
    if (line != announced_) log(line);
    announced_ = line;
  }

  Queues& queues_;
  std::string announced_;  // main queue, where sessions are made
};

}  // namespace

std::unique_ptr<VideoCoding> createVideoCoding(Queues& queues) {
  return std::make_unique<FFmpegVideoCoding>(queues);
}

}  // namespace tessaline::platform
