#include "platform/common/media/FFmpegDecompressionSession.h"

#include <array>
#include <chrono>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "base/Log.h"
#include "platform/common/media/H264Decoder.h"

namespace tessaline::platform {
namespace {

// What cannot be decoded comes in runs, and whoever sends it may send it on purpose.
constexpr auto kComplaintInterval = std::chrono::minutes(1);

/// A decoder that needs a device, and where the device shows.
struct HardwareDecoder {
  const char* name;
  const char* path;  // exists where the machine has the device
  H264Decoder::Device device;
};

constexpr std::array<HardwareDecoder, 2> kHardwareDecoders = {{
    {"VA-API", "/dev/dri", H264Decoder::Device::vaapi},
    {"NVDEC", "/dev/nvidiactl", H264Decoder::Device::cuda},
}};

}  // namespace

/// What the session shares with the work that it posts. `submit`, `flush` and `close` are called
/// from any thread, the rest on the session's queue.
class FFmpegDecompressionSession::Worker {
 public:
  explicit Worker(Callbacks callbacks) : callbacks_(std::move(callbacks)) {}

  /// True when `run` has to be posted for it.
  [[nodiscard]] bool submit(VideoSample sample) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(sample));
    return !std::exchange(running_, true);
  }

  [[nodiscard]] bool flush() {
    std::deque<VideoSample> forgotten;  // let go of outside the lock: its owner may be told
    const std::lock_guard lock(mutex_);
    forgotten.swap(waiting_);
    flush_ = true;
    return !std::exchange(running_, true);
  }

  void close() {
    const std::lock_guard delivery(deliveryMutex_);
    closed_ = true;
    const std::lock_guard lock(mutex_);
    waiting_.clear();
  }

  void run() {
    for (;;) {
      VideoSample sample;
      {
        const std::lock_guard lock(mutex_);
        if (!flush_ && waiting_.empty()) {
          running_ = false;
          return;
        }
        if (!flush_) {
          sample = std::move(waiting_.front());
          waiting_.pop_front();
        }
        flush_ = false;
      }
      if (!sample.format) {
        decoder_.reset();
        format_.reset();
        deliver(nullptr);
      } else if (auto picture = decode(sample)) {
        deliver(std::move(picture));
      }
    }
  }

 private:
  std::shared_ptr<const VideoPicture> decode(const VideoSample& sample) {
    if (sample.format != format_) adopt(sample.format);
    auto picture = decoder_ ? decoder_->decode(sample.accessUnit) : nullptr;
    if (!picture && hardware_ && !hardwareWorked_) {
      // Some drivers promise what they cannot do; the first picture shows it.
      complain("decoder: the hardware does not take this stream");
      useSoftware();
      picture = decoder_ ? decoder_->decode(sample.accessUnit) : nullptr;
    }
    if (picture) {
      hardwareWorked_ = hardware_;
    } else {
      complain("decoder: a picture cannot be decoded");
    }
    return picture;
  }

  void adopt(std::shared_ptr<const VideoFormat> format) {
    // The same parameter sets come before each key frame; what was decoded stays useful.
    const bool same = format_ && decoder_ && format_->parameterSets == format->parameterSets;
    format_ = std::move(format);
    if (same) return;
    hardwareWorked_ = false;
    decoder_.reset();
    for (const auto& hardware : kHardwareDecoders) {
      std::error_code ignored;
      if (!std::filesystem::exists(hardware.path, ignored)) continue;
      decoder_ = H264Decoder::open(*format_, hardware.device);
      if (!decoder_) continue;
      hardware_ = true;
      announce(hardware.name);
      return;
    }
    useSoftware();
  }

  void useSoftware() {
    hardware_ = false;
    decoder_ = H264Decoder::open(*format_, H264Decoder::Device::none);
    if (decoder_) announce("software");
  }

  void announce(const std::string& kind) {
    if (std::exchange(announced_, kind) != kind) log("decoder: " + kind);
  }

  void complain(const char* line) {
    const auto now = Clock::now();
    if (complained_ && now - *complained_ < kComplaintInterval) return;
    complained_ = now;
    log(line);
  }

  void deliver(std::shared_ptr<const VideoPicture> picture) {
    const std::lock_guard delivery(deliveryMutex_);
    if (!closed_ && callbacks_.onPicture) callbacks_.onPicture(std::move(picture));
  }

  const Callbacks callbacks_;

  std::mutex mutex_;  // guards these three
  std::deque<VideoSample> waiting_;
  bool flush_ = false;
  bool running_ = false;  // `run` is posted or under way

  std::mutex deliveryMutex_;  // held while the callback runs; guards closed_
  bool closed_ = false;

  std::shared_ptr<const VideoFormat> format_;
  std::unique_ptr<H264Decoder> decoder_;
  bool hardware_ = false;
  bool hardwareWorked_ = false;
  std::string announced_;
  std::optional<Clock::time_point> complained_;
};

FFmpegDecompressionSession::FFmpegDecompressionSession(std::shared_ptr<Queue> queue,
                                                       Callbacks callbacks)
    : worker_(std::make_shared<Worker>(std::move(callbacks))), queue_(std::move(queue)) {}

FFmpegDecompressionSession::~FFmpegDecompressionSession() {
  worker_->close();
}

void FFmpegDecompressionSession::decode(VideoSample sample) {
  if (!worker_->submit(std::move(sample))) return;
  queue_->async([worker = worker_] { worker->run(); });
}

void FFmpegDecompressionSession::flush() {
  if (!worker_->flush()) return;
  queue_->async([worker = worker_] { worker->run(); });
}

}  // namespace tessaline::platform
