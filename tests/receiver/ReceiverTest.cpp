#include "receiver/Receiver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "base/AsioQueue.h"
#include "platform/common/media/MediaVideoCoding.h"
#include "platform/common/media/MediaVideoDecoding.h"
#include "platform/media/FrameCoder.h"
#include "platform/media/PictureMaker.h"
#include "protocol/Cursor.h"
#include "protocol/Framing.h"
#include "protocol/Hello.h"
#include "protocol/ParameterSets.h"
#include "protocol/Proto.h"
#include "receiver/FakeMain.h"
#include "receiver/FreePorts.h"
#include "support/FakeDiscovery.h"
#include "support/Interruptions.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::VideoPicture;

constexpr PixelSize kSize{320, 240};
constexpr std::uint32_t kColour = 0x30B060;

/// A receiver on real sockets with the real decoder behind it. What it says is written down.
class ReceiverOnSockets : public testing::Test {
 protected:
  void SetUp() override {
    decoder_ = decoding_->createDecompressionSession(
        {.onPicture = [this](std::shared_ptr<const VideoPicture> picture) {
          const std::lock_guard lock(mutex_);
          picture_ = std::move(picture);
          changed_.notify_all();
        }});
    receiver_ =
        std::make_unique<Receiver>(Receiver::Services{queues_, network_, discovery_, *decoding_},
                                   Receiver::Identity{"Café “2”", "id-1"});
    receiver_->screenMetrics = [] { return ScreenMetrics{{2560, 1600}, {300, 190}, 2}; };
    receiver_->onDisconnect = [this] { add("disconnect"); };
    receiver_->onSample = [this](platform::VideoSample sample) {
      const std::lock_guard lock(mutex_);
      if (holding_) {
        held_.push_back(std::move(sample));
        changed_.notify_all();
      } else {
        decoder_->decode(std::move(sample));
      }
    };
    receiver_->onFlush = [this] { decoder_->flush(); };
    receiver_->onCursorShape = [this](auto image, PointerShape shape) {
      add("shape " + std::to_string(image->width) + " at " + std::to_string(shape.hotSpotX));
    };
    receiver_->onCursorMove = [this](double x, double, bool visible) {
      add((visible ? "at " : "hidden ") + std::to_string(std::lround(x * 65535)));
    };
    queues_.main()->sync([&] { receiver_->start(); });
    ASSERT_TRUE(wait([&] { return network_.datagramPort != 0; }));
  }
  void TearDown() override {
    queues_.main()->sync([&] { receiver_.reset(); });
    decoder_.reset();
  }

  void add(std::string event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }
  template <typename Condition>
  bool wait(Condition condition) {
    std::unique_lock lock(mutex_);
    for (int i = 0; i < 3000 && !condition(); ++i) changed_.wait_for(lock, 10ms);
    return condition();
  }
  /// How often `event` has happened, once that is at least as often as `expected`.
  int times(const std::string& event, int expected) {
    const auto count = [&] { return static_cast<int>(std::ranges::count(events_, event)); };
    wait([&] { return count() >= expected; });
    const std::lock_guard lock(mutex_);
    return count();
  }
  std::shared_ptr<platform::PixelBuffer> plain(std::uint32_t colour, PixelSize size = kSize) {
    platform::Desktop desktop(size);
    desktop.fill({0, 0, size.width, size.height}, colour);
    return desktop.converted();
  }
  /// Whether the middle of the newest picture has that colour. With the lock held.
  bool shows(std::uint32_t colour) {
    if (!picture_) return false;
    std::array<std::uint8_t, 16> pixels{};
    decoding_->convert(*picture_, {160, 120, 2, 2}, pixels.data(), 8);
    const std::uint8_t wanted[] = {static_cast<std::uint8_t>(colour),
                                   static_cast<std::uint8_t>(colour >> 8),
                                   static_cast<std::uint8_t>(colour >> 16)};
    return std::ranges::equal(std::span(pixels).first<3>(), wanted,
                              [](int a, int b) { return std::abs(a - b) <= 4; });
  }

  AsioQueues queues_;
  test::FreePorts network_;
  test::FakeDiscovery discovery_;
  const std::unique_ptr<platform::VideoDecoding> decoding_ = platform::createVideoDecoding(queues_);
  const std::unique_ptr<platform::VideoCoding> coding_ = platform::createVideoCoding(queues_);
  std::unique_ptr<platform::DecompressionSession> decoder_;
  std::unique_ptr<Receiver> receiver_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> events_;
  std::shared_ptr<const VideoPicture> picture_;  // the newest, none when it is over
  bool holding_ = false;
  std::vector<platform::VideoSample> held_;
};

TEST_F(ReceiverOnSockets, TakesPointerDatagramsInTheirOrder) {
  const struct {
    std::uint16_t sequence, x;
    bool visible;
    const char* seen;  // nothing: stale
  } cases[] = {
      {7, 100, true, "at 100"},          {5, 1, true, nullptr},        {7, 2, true, nullptr},
      {32000, 200, false, "hidden 200"}, {64000, 300, true, "at 300"}, {65534, 400, true, "at 400"},
      {3, 500, true, "at 500"},  // the number wraps around
      {30000, 11, true, "at 11"},        {60000, 12, true, "at 12"},   {0, 0, true, "at 0"},
      {40000, 600, true, "at 600"}};  // after 0 any number is good
  std::vector<std::string> expected;
  for (const auto& [sequence, x, visible, seen] : cases) {
    for (const Bytes& wrong :
         {Bytes{Proto::cursorPos, 0, 9, 0, 3, 0, 9}, Bytes{Proto::frame, 0, 9, 0, 3, 0, 9, 1}}) {
      test::FakeMain::sendDatagram(network_.datagramPort, wrong);
    }
    test::FakeMain::sendDatagram(network_.datagramPort,
                                 CursorUpdate{sequence, {x, 9, visible}}.datagram());
    if (!seen) continue;  // the next one that counts shows that it did not
    expected.emplace_back(seen);
    EXPECT_TRUE(wait([&] { return events_ == expected; })) << testing::PrintToString(events_);
  }
}

TEST_F(ReceiverOnSockets, SurvivesWhatIsMalformed) {
  test::FrameCoder coder(*coding_, kSize);
  const auto good = coder.code(plain(kColour));
  const auto& sets = *good.parameterSets;
  const Bytes params = ParameterSetPair::encoded(sets.sequence, sets.picture);
  Bytes enormous = sets.sequence;
  enormous.insert(enormous.begin() + 5, 40, 0xFF);
  Bytes bomb = coding_->encodePng({.serial = 0, .width = 1, .height = 1, .rgba = Bytes(4)});
  bomb[16] = bomb[20] = 0x7F;  // two billion pixels wide and high
  Bytes cutPng = CursorShape{0, 0, 9, 9}.encoded(
      coding_->encodePng({.serial = 0, .width = 9, .height = 9, .rgba = Bytes(9 * 9 * 4)}));
  cutPng.resize(cutPng.size() - 20);
  Bytes noise(20'000);
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<std::uint8_t>(i * i >> 3);
  Bytes damaged = *good.data;
  for (std::size_t i = 12; i < damaged.size(); i += 7) damaged[i] ^= 0x5A;
  Bytes nested = ByteWriter().u32(static_cast<std::uint32_t>(sets.sequence.size())).take();
  nested.insert(nested.end(), sets.sequence.begin(), sets.sequence.end());

  const std::vector<std::pair<const char*, Bytes>> ignored = {
      {"a frame before its parameter sets", framing::message(Proto::frame, *good.data)},
      {"parameter sets that promise too much",
       framing::message(Proto::params, ByteView(params).first(params.size() - 1))},
      {"parameter sets of noise", framing::message(Proto::params, noise)},
      {"sets in the wrong order",
       framing::message(Proto::params, ParameterSetPair::encoded(sets.picture, sets.sequence))},
      {"pictures of no size at all",
       framing::message(Proto::params, ParameterSetPair::encoded(enormous, sets.picture))},
      {"parameter sets", framing::message(Proto::params, params)},
      {"a frame of noise", framing::message(Proto::frame, noise)},
      {"an empty frame", framing::message(Proto::frame, {})},
      {"a damaged frame", framing::message(Proto::frame, damaged)},
      {"a frame with parameter sets in it", framing::message(Proto::frame, nested)},
      {"half a frame",
       framing::message(Proto::frame, ByteView(*good.data).first(good.data->size() / 2))},
      {"a pointer of 8 bytes", framing::message(Proto::cursorShape, Bytes(8))},
      {"a pointer of noise", framing::message(Proto::cursorShape, noise)},
      {"half a pointer", framing::message(Proto::cursorShape, cutPng)},
      {"a bomb", framing::message(Proto::cursorShape, CursorShape{0, 0, 1, 1}.encoded(bomb))},
      {"a short probe", framing::message(Proto::probe, Bytes(3))},
      {"what only others read", framing::message(Proto::denied, {})},
      {"an unknown type", framing::message(250, noise)},
      {"a megabyte", framing::message(250, Bytes(1'048'575))}};
  test::FakeMain main(network_.streamPort);
  static_cast<void>(main.read());
  for (std::uint32_t i = 0; i < ignored.size(); ++i) {
    main.sendRaw(ignored[i].second);
    ASSERT_TRUE(main.answersProbe(i)) << ignored[i].first;
  }
  // Whatever was shown of all that, the next key frame is right.
  main.send(coder.code(plain(0x4060C0), true));
  EXPECT_TRUE(wait([&] { return shows(0x4060C0); }));

  for (const auto& [name, bytes] : std::vector<std::pair<const char*, Bytes>>{
           {"a length of 0", {0, 0, 0, 0}}, {"a length of 2^26", {4, 0, 0, 0, 5, 5}}}) {
    test::FakeMain hostile(network_.streamPort);
    static_cast<void>(hostile.read());
    hostile.sendRaw(bytes);
    EXPECT_TRUE(hostile.read().empty()) << name;
  }
  for (const Bytes& start : {Bytes{0, 0}, Bytes{0, 0, 0, 9, 5, 5}}) {
    test::FakeMain vanishing(network_.streamPort);
    static_cast<void>(vanishing.read());
    vanishing.sendRaw(start);
    vanishing.socket().shutdown(boost::asio::socket_base::shutdown_send);
    EXPECT_TRUE(vanishing.read().empty()) << "cut after " << start.size();
  }
  // Each of the four ends by itself, the first stream by being replaced.
  EXPECT_EQ(times("disconnect", 4), 4);
}

TEST_F(ReceiverOnSockets, AStreamMayBeCutOrTornAtEveryByte) {
  test::FrameCoder coder(*coding_, kSize);
  const auto good = coder.code(plain(kColour));
  const auto& sets = *good.parameterSets;
  Bytes stream;
  const auto append = [&](std::uint8_t type, ByteView payload) {
    const Bytes message = framing::message(type, payload);
    stream.insert(stream.end(), message.begin(), message.end());
    return stream.size();
  };
  append(Proto::params, ParameterSetPair::encoded(sets.sequence, sets.picture));
  const std::size_t frameEnd = append(Proto::frame, Bytes(20));
  append(Proto::cursorShape, CursorShape{1, 1, 2, 2}.encoded(
                                 coding_->encodePng({.width = 2, .height = 2, .rgba = Bytes(16)})));
  const std::size_t streamEnd = stream.size();
  append(Proto::bye, {});

  const auto isShown = [&] {
    test::FakeMain main(network_.streamPort);
    static_cast<void>(main.read());
    main.send(coder.code(plain(kColour), true));
    return wait([&] { return picture_ != nullptr; });
  };
  ASSERT_TRUE(isShown());
  ASSERT_EQ(times("disconnect", 1), 1);
  const auto before = test::Census::now();

  const auto hold = [&](bool holding) {
    const std::lock_guard lock(mutex_);
    holding_ = holding;
  };
  const auto take = [&] {
    const std::lock_guard lock(mutex_);
    return std::exchange(held_, {}).size();
  };
  hold(true);
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    test::FakeMain main(network_.streamPort);
    ASSERT_FALSE(main.read().empty()) << "after a cut at " << cut;
    main.sendRaw(ByteView(stream).first(cut));
    main.socket().shutdown(boost::asio::socket_base::shutdown_send);
    ASSERT_TRUE(main.read().empty()) << cut;
    ASSERT_EQ(take(), cut < frameEnd ? 0U : 1U) << cut;
  }
  const int ends = static_cast<int>(stream.size()) + 2;
  EXPECT_EQ(times("disconnect", ends), ends);
  const int shapes = static_cast<int>(stream.size() - streamEnd) + 1;
  EXPECT_EQ(times("shape 2 at 1.000000", shapes), shapes);

  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    test::FakeMain main(network_.streamPort);
    ASSERT_FALSE(main.read().empty()) << "after a reset at " << cut;
    main.sendRaw(ByteView(stream).first(cut));
    main.socket().set_option(boost::asio::socket_base::linger(true, 0));
    main.socket().close();
  }
  {
    test::FakeMain main(network_.streamPort);
    static_cast<void>(main.read());
    take();  // of the streams before, which have ended now
    for (std::size_t cut = 1; cut < streamEnd; ++cut) {
      main.sendTorn(ByteView(stream).first(streamEnd), cut);
      ASSERT_TRUE(main.answersProbe(static_cast<std::uint32_t>(cut))) << cut;
      ASSERT_EQ(take(), 1U) << cut;
    }
  }
  hold(false);
  EXPECT_TRUE(isShown());
  EXPECT_TRUE(before.comesBack()) << before << " became " << test::Census::now();
}

TEST_F(ReceiverOnSockets, ReadsNoFurtherThanTheDecoderCanFollow) {
  constexpr std::size_t kFrames = 60;
  constexpr std::size_t kFrameBytes = 100'000;
  test::FrameCoder coder(*coding_, kSize);
  test::FakeMain main(network_.streamPort);
  static_cast<void>(main.read());
  main.socket().set_option(boost::asio::socket_base::send_buffer_size(64 * 1024));
  holding_ = true;
  const auto good = coder.code(plain(kColour));
  main.send(Proto::params,
            ParameterSetPair::encoded(good.parameterSets->sequence, good.parameterSets->picture));
  std::atomic<std::size_t> sent = 0;
  std::thread sender([&] {
    Bytes payload(kFrameBytes);
    for (std::size_t i = 0; i < kFrames; ++i, ++sent) {
      payload[0] = static_cast<std::uint8_t>(i);
      main.send(Proto::frame, payload);
    }
  });
  ASSERT_TRUE(wait([&] { return held_.size() >= 3; }));
  // Time for what must not happen: the sender to go on until the system's buffers are full.
  std::size_t before = 0;
  do {
    before = sent;
    std::this_thread::sleep_for(200ms);
  } while (sent != before);
  EXPECT_LE(held_.size(), 3U);
  EXPECT_LT(sent, 15U) << "the rest waits at the sender";
  std::size_t next = 0;
  while (next < kFrames) {
    ASSERT_TRUE(wait([&] { return !held_.empty(); })) << "after " << next;
    std::vector<platform::VideoSample> taken;
    {
      const std::lock_guard lock(mutex_);
      taken.swap(held_);
    }
    for (const auto& sample : taken) EXPECT_EQ(sample.accessUnit[0], next++);
  }
  sender.join();
  EXPECT_TRUE(main.answersProbe(5));
}

TEST(Receiver, LetsNothingPileUpOnABusyMainQueueOrInTheAnswersToProbes) {
  test::VirtualQueues queues;
  test::FakeNetwork network;
  test::FakeDiscovery discovery;
  const auto decoding = platform::createVideoDecoding(queues);
  Receiver receiver({queues, network, discovery, *decoding}, {"screen", "id"});
  int moves = 0;
  double last = 0;
  receiver.onCursorMove = [&](double x, double, bool) {
    ++moves;
    last = x;
  };
  queues.main()->sync([&] { receiver.start(); });
  queues.run();
  network.streamQueue->sync([&] {
    for (std::uint16_t i = 1; i <= 1000; ++i) {
      network.datagramHandler({}, CursorUpdate{i, {i, 0, true}}.datagram());
    }
  });
  queues.run();
  EXPECT_EQ(moves, 1);
  EXPECT_DOUBLE_EQ(last, 1000.0 / 65535);

  const auto connection = network.arrive();
  queues.run();
  connection->taking = false;
  for (int i = 0; i < 1000; ++i) connection->say(framing::message(Proto::probe, Bytes{0, 0, 0, 1}));
  EXPECT_LT(connection->untaken.size(), 50U);
}

}  // namespace
}  // namespace tessaline
