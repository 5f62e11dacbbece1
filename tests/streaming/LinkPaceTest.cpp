#include "streaming/LinkPace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

constexpr Duration kStep = 1ms;
constexpr Duration kFrame = 16ms;
constexpr double kKernelHolds = 32'768;   // bytes that are not sent yet
constexpr double kWanted = 25'000'000.0;  // bit/s, of the pictures

/// A way of a certain rate and length, with a sender that keeps to what the pace says. The kernel
/// sends more than fills the way, which forms a line of a fifth of a second.
class Way {
 public:
  double bitsPerSecond = 0;
  Duration length = 40ms;  // there and back, with nobody else on it
  double lostShare = 0;    // of the packets

  void run(Duration time) {
    for (const auto end = now_ + time; now_ < end; now_ += kStep) {
      const double seconds = std::chrono::duration<double>(kStep).count();
      onTheWay_ = std::max(0.0, onTheWay_ - bitsPerSecond / 8 * seconds);
      if (now_ >= nextFrame_ && waiting_.empty()) {
        waiting_.push_back(rate() / 8 * std::chrono::duration<double>(kFrame).count());
        pace.queued(static_cast<std::size_t>(waiting_.back()), now_);
        nextFrame_ = now_ + kFrame;
      }
      takeIn();
    }
  }

  [[nodiscard]] Duration lineDelay() const {
    const std::chrono::duration<double> delay(onTheWay_ * 8 / bitsPerSecond);
    return std::max(Duration::zero(), std::chrono::duration_cast<Duration>(delay) - kShortest);
  }
  /// Of the pictures, bit/s.
  [[nodiscard]] double rate() const {
    const auto carried = pace.bitRate();
    return carried ? std::min<double>(*carried, kWanted) : kWanted;
  }

  LinkPace pace{Clock::time_point()};

 private:
  static constexpr Duration kShortest = 20ms;  // on the way, in one direction

  void takeIn() {
    const double fills = bitsPerSecond / 8 * std::chrono::duration<double>(2 * kShortest).count();
    while (!waiting_.empty() && onTheWay_ + waiting_.front() <= 6 * fills + kKernelHolds) {
      const double bytes = waiting_.front();
      waiting_.pop_front();
      onTheWay_ += bytes;
      const auto packets = bytes / 1448;
      resent_ += packets * lostShare;
      pace.taken(static_cast<std::size_t>(bytes),
                 platform::NetworkPath{length + lineDelay(), static_cast<std::uint32_t>(resent_)},
                 now_);
    }
  }

  Clock::time_point now_;
  Clock::time_point nextFrame_;
  std::deque<double> waiting_;  // bytes of each message
  double resent_ = 0;           // packets
  double onTheWay_ = 0;         // bytes, and in lines
};

TEST(LinkPace, FollowsWhatTheNetworkCarriesWithoutALineInIt) {
  Way way;
  way.bitsPerSecond = 1e9;
  way.run(10s);
  EXPECT_FALSE(way.pace.bitRate());

  for (const double rate : {20e6, 4e6, 12e6}) {
    way.bitsPerSecond = rate;
    way.run(15s);
    Duration lines{};
    constexpr int kLooks = 40;
    for (int look = 0; look < kLooks; ++look) {
      way.run(100ms);
      lines += way.lineDelay();
      EXPECT_GT(way.rate(), 0.5 * rate);
      EXPECT_LT(way.rate(), 1.3 * rate);
    }
    EXPECT_LT(lines / kLooks, 50ms) << rate;
  }
  way.bitsPerSecond = 1e9;
  way.run(20s);
  EXPECT_EQ(way.rate(), kWanted);
}

TEST(LinkPace, SendsLessWhereLossHoldsMostOfItUp) {
  Way way;
  way.bitsPerSecond = 100e6;
  way.lostShare = 0.01;
  way.run(20s);
  EXPECT_GT(way.rate(), 4e6);
  EXPECT_LT(way.rate(), 14e6);
  way.lostShare = 0;
  way.run(20s);
  EXPECT_EQ(way.rate(), kWanted);
}

TEST(LinkPace, TakesALongerWayForWhatItIs) {
  Way way;
  way.bitsPerSecond = 1e9;
  way.run(5s);
  way.length = 120ms;
  way.run(15s);
  EXPECT_EQ(way.rate(), kWanted);
}

}  // namespace
}  // namespace tessaline
