#include "stages/Stages.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "media/StreamDecoder.h"
#include "platform/common/media/FrameComposer.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "stages/LoopbackSocket.h"
#include "stages/ShmGrabber.h"

namespace tessaline::bench {

namespace {

using namespace std::chrono_literals;

constexpr auto kFrameInterval = 16667us;  // 60 frames per second
constexpr auto kPatience = 5s;
// The application's: for 1920 × 1080, and the most for larger pictures.
constexpr std::int64_t kBitRate = 25'000'000;
constexpr std::int64_t kHighestBitRate = 60'000'000;
constexpr PixelRect kChangedPart{16, 16, 512, 16};  // where the painter's code is
constexpr int kPoolDepth = 5;                       // pictures, as many as the application has

int bitRate(PixelSize size) {
  const std::int64_t scaled = kBitRate * size.width * size.height / (1920 * 1080);
  return static_cast<int>(std::min(std::max(kBitRate, scaled), kHighestBitRate));
}

Duration since(Clock::time_point start) {
  return Clock::now() - start;
}

}  // namespace

class Stages::Line {
 public:
  Line(Queues& queues, PixelSize size)
      : size_(size), composer_(size, kPoolDepth), coding_(platform::createVideoCoding(queues)) {}

  std::optional<std::string> prepare(Queues& queues) {
    auto grabber = ShmGrabber::connect(size_);
    if (!grabber) return grabber.error();
    grabber_ = std::move(*grabber);
    auto socket = LoopbackSocket::open(queues);
    if (!socket) return socket.error();
    socket_ = std::move(*socket);
    auto session = coding_->createCompressionSession(
        {.size = size_, .averageBitRate = bitRate(size_)},
        {.onOutput = [this](std::optional<platform::CodedFrame> frame) {
          coded(std::move(frame));
        }});
    if (!session) return "no encoder: " + session.error();
    session_ = std::move(*session);
    return std::nullopt;
  }

  std::optional<std::string> measureFrame(Costs& costs) {
    auto start = Clock::now();
    if (!grabber_->grab(kChangedPart)) return "grabbing failed";
    costs[kGrabPart].push_back(since(start));
    start = Clock::now();
    if (!compose(kChangedPart)) return "no picture buffer is free";
    costs[kConvertPart].push_back(since(start));

    const PixelRect whole{0, 0, size_.width, size_.height};
    start = Clock::now();
    if (!grabber_->grab(whole)) return "grabbing failed";
    costs[kGrabWhole].push_back(since(start));
    start = Clock::now();
    auto picture = compose(whole);
    if (!picture) return "no picture buffer is free";
    costs[kConvertWhole].push_back(since(start));

    start = Clock::now();
    const auto frame = encode(std::move(picture));
    if (!frame) return "encoding failed";
    costs[kEncode].push_back(codedAt_ - start);
    codedBytes_.push_back(frame->data->size());

    const auto sent = socket_->send(frame->data);
    if (!sent) return "sending failed";
    costs[kSend].push_back(*sent);
    start = Clock::now();
    if (!decoder_.decode(*frame)) return "decoding failed";
    costs[kDecode].push_back(since(start));
    return std::nullopt;
  }

  std::vector<std::size_t> codedBytes_;

 private:
  std::shared_ptr<const platform::PixelBuffer> compose(const PixelRect& rect) {
    const platform::PixelPatch patch{rect, grabber_->pixels(), rect.width * 4};
    return composer_.compose({&patch, 1});
  }

  // On the encoder's thread.
  void coded(std::optional<platform::CodedFrame> frame) {
    const std::lock_guard lock(mutex_);
    codedAt_ = Clock::now();
    frame_ = std::move(frame);
    done_ = true;
    arrived_.notify_one();
  }

  std::optional<platform::CodedFrame> encode(std::shared_ptr<const platform::PixelBuffer> picture) {
    std::unique_lock lock(mutex_);
    done_ = false;
    session_->encode(std::move(picture), Clock::now(), {});
    if (!arrived_.wait_for(lock, kPatience, [this] { return done_; })) return std::nullopt;
    return std::move(frame_);
  }

  const PixelSize size_;
  std::unique_ptr<ShmGrabber> grabber_;
  platform::FrameComposer composer_;
  std::unique_ptr<LoopbackSocket> socket_;
  const std::unique_ptr<platform::VideoCoding> coding_;
  platform::StreamDecoder decoder_;

  std::mutex mutex_;  // guards the fields up to `arrived_`
  std::optional<platform::CodedFrame> frame_;
  Clock::time_point codedAt_;
  bool done_ = false;
  std::condition_variable arrived_;
  std::unique_ptr<platform::CompressionSession> session_;  // goes first: its output comes here
};

Stages::Stages(std::unique_ptr<Line> line) : line_(std::move(line)) {}
Stages::~Stages() = default;

Result<std::unique_ptr<Stages>> Stages::prepare(Queues& queues, PixelSize size) {
  auto line = std::make_unique<Line>(queues, size);
  if (auto error = line->prepare(queues)) return Failure{*error};
  return std::unique_ptr<Stages>(new Stages(std::move(line)));
}

Result<Stages::Costs> Stages::measure(int frames) {
  Costs costs;
  line_->codedBytes_.clear();
  auto next = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    if (auto error = line_->measureFrame(costs)) return Failure{*error};
    next = std::max(next + kFrameInterval, Clock::now());
    std::this_thread::sleep_until(next);
  }
  return costs;
}

const std::vector<std::size_t>& Stages::codedBytes() const {
  return line_->codedBytes_;
}

}  // namespace tessaline::bench
