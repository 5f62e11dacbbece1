#include <utility>

#include "StreamConnection.h"
#include "Targets.h"
#include "platform/common/media/MediaVideoDecoding.h"
#include "receiver/Receiver.h"
#include "support/FakeDiscovery.h"
#include "support/FakeNetwork.h"
#include "support/VirtualQueues.h"

namespace tessaline::fuzz {
namespace {

using namespace std::chrono_literals;
using platform::ConnectionState;

// Larger pictures than this are not decoded here: each would take as long as thousands of inputs.
constexpr std::int64_t kLargestDecoded = std::int64_t{1} << 18;  // pixels
constexpr PixelSize kView{64, 48};
constexpr auto kPast = 5s;  // the limit for silence

/// A screen with its decoder, whose pictures are shown as its windows do: converted, and scaled.
class Screen {
 public:
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  Screen() {
    receiver_->onSample = [this](platform::VideoSample sample) {
      const PixelSize size = sample.format->size;
      require(size.width >= 1 && size.width <= 16384 && size.height >= 1 && size.height <= 16384);
      if (std::int64_t{size.width} * size.height > kLargestDecoded) return;
      decoder_->decode(std::move(sample));
    };
    receiver_->onFlush = [this] { decoder_->flush(); };
    receiver_->onCursorShape = [](const auto& image, PointerShape) { require(image != nullptr); };
    receiver_->onCursorMove = [](double x, double y, bool) {
      require(x >= 0 && x <= 1 && y >= 0 && y <= 1);
    };
    receiver_->onConnect = [this](const std::string&) { ++streams_; };
    receiver_->onDisconnect = [this] { --streams_; };
    queues_.main()->sync([&] { receiver_->start(); });
    queues_.run();
  }
  ~Screen() {
    queues_.main()->sync([&] { receiver_.reset(); });
  }

  void datagram(ByteView bytes) {
    network_.streamQueue->sync([&] { network_.datagramHandler({"192.0.2.7", 40000}, bytes); });
  }
  void stream(ByteView bytes) {
    const auto connection = std::make_shared<StreamConnection>(network_.streamQueue, bytes);
    network_.streamQueue->sync([&] { network_.acceptStream(connection); });
    connection->report(ConnectionState::ready);
    queues_.run();
    queues_.advance(kPast);
    require(streams_ == 0);  // one that says nothing any more is over
  }

 private:
  void show(const std::shared_ptr<const platform::VideoPicture>& picture) {
    if (!picture) return;
    const auto [width, height] = picture->size;
    const PixelRect changed = picture->changed.value_or(PixelRect());
    require(intersected(changed, {0, 0, width, height}) == changed);
    const int stride = width * 4;
    Bytes pixels(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height));
    decoding_->convert(*picture, {0, 0, width, height}, pixels.data(), stride);
    const auto scaled = decoding_->scale(*picture, kView);
    require(scaled && scaled->size == kView);
  }

  test::VirtualQueues queues_;
  test::FakeNetwork network_;
  test::FakeDiscovery discovery_;
  int streams_ = 0;
  const std::unique_ptr<platform::VideoDecoding> decoding_ = platform::createVideoDecoding(queues_);
  const std::unique_ptr<platform::DecompressionSession> decoder_ =
      decoding_->createDecompressionSession({.onPicture = [this](auto picture) { show(picture); }});
  std::unique_ptr<Receiver> receiver_ =
      std::make_unique<Receiver>(Receiver::Services{queues_, network_, discovery_, *decoding_},
                                 Receiver::Identity{"Screen", "id-1"});
};

}  // namespace

/// First a number of datagrams, each with a byte that tells its length, then the stream.
void receiver(ByteView input) {
  constexpr std::uint8_t kMostDatagrams = 8;
  Screen screen;
  ByteReader reader(input);
  const auto count = reader.u8().value_or(0) % kMostDatagrams;
  for (int i = 0; i < count; ++i) {
    const auto length = reader.u8().value_or(0);
    screen.datagram(reader.take(length).value_or(ByteView()));
  }
  screen.stream(reader.rest());
}

}  // namespace tessaline::fuzz
