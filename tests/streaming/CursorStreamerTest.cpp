#include "streaming/CursorStreamer.h"

#include <gtest/gtest.h>

#include "protocol/Proto.h"
#include "support/FakeLink.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class CursorStreamerTest : public testing::Test {
 protected:
  void start() {
    streamer_ = std::make_shared<CursorStreamer>(42, link_, pointer_, coding_, network_,
                                                 queues_.serial("tessaline.cursor"));
    streamer_->onMove = [this] { ++moves_; };
    streamer_->start();
    queues_.run();
  }
  void show(std::uint64_t serial, Bytes pixels) {
    auto image = std::make_shared<platform::PointerImage>();
    *image = {serial, 24, 16, 1.5, 2, std::move(pixels)};
    pointer_->picture = image;
  }

  test::VirtualQueues queues_;
  test::FakeCoding coding_;
  test::FakeNetwork network_;
  std::shared_ptr<test::FakePointer> pointer_ = std::make_shared<test::FakePointer>();
  std::shared_ptr<test::FakeLink> link_ = std::make_shared<test::FakeLink>();
  std::shared_ptr<CursorStreamer> streamer_;
  int moves_ = 0;
};

TEST_F(CursorStreamerTest, SendsMovesAtOnceAndRepeatsAStillPointerNowAndThen) {
  for (const bool tells : {false, true}) {
    pointer_->tells = tells;
    pointer_->where = {{1400, 300}};
    start();
    EXPECT_EQ(link_->payloads(Proto::cursorPos).at(0), (Bytes{0, 1, 0x80, 0, 0x80, 0, 1}));
    queues_.advance(2s);
    link_->sent.clear();
    pointer_->asked = 0;
    queues_.advance(2400ms);
    EXPECT_EQ(link_->count(Proto::cursorPos), 10U);
    EXPECT_TRUE(!tells || pointer_->asked <= 10) << "it rests while the pointer does";
    EXPECT_EQ(moves_, 0);

    const auto moveTo = [&](double x) {
      link_->sent.clear();
      pointer_->where = {{x, 300}};
      if (tells) pointer_->moved();
      queues_.advance(8ms);
      return link_->payloads(Proto::cursorPos);
    };
    for (const double x : {1401, 1402, 1403}) EXPECT_EQ(moveTo(x).size(), 1U) << x;
    EXPECT_EQ(std::exchange(moves_, 0), 3);
    EXPECT_EQ(moveTo(10).at(0).back(), 0) << "off the display: hidden";
    EXPECT_EQ(moves_, 0);

    streamer_->stop();
    EXPECT_FALSE(pointer_->moved);
    link_->sent.clear();
    pointer_->where = {{1500, 300}};
    queues_.advance(1s);
    EXPECT_TRUE(link_->sent.empty());
  }
}

TEST_F(CursorStreamerTest, SendsAnImageOnceAndAgainUntilTheLinkTakesIt) {
  show(1, {0x89, 1});
  link_->accepting = false;
  start();
  queues_.advance(480ms);
  link_->accepting = true;
  queues_.advance(480ms);
  EXPECT_EQ(link_->payloads(Proto::cursorShape),
            (std::vector<Bytes>{{0, 24, 0, 32, 1, 128, 1, 0, 0x89, 1}}));
  show(2, {0x89, 1});  // another image with the same pixels
  queues_.advance(480ms);
  EXPECT_EQ(link_->count(Proto::cursorShape), 1U);
  show(3, {0x89, 2});
  queues_.advance(48ms);
  EXPECT_EQ(link_->count(Proto::cursorShape), 2U);
  auto moved = std::make_shared<platform::PointerImage>(*pointer_->picture);
  moved->serial = 4;
  moved->hotSpotX = 7;
  pointer_->picture = moved;
  queues_.advance(48ms);
  EXPECT_EQ(link_->count(Proto::cursorShape), 3U) << "the hot spot is part of it";
}

}  // namespace
}  // namespace tessaline
