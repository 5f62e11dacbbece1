#include "streaming/LinkPace.h"

#include <algorithm>
#include <utility>

namespace tessaline {
namespace {

using namespace std::chrono_literals;

// Long enough for some frames, short enough that few are late when a network becomes slow.
constexpr Duration kWindow = 250ms;
// A moment's bad luck, and what congestion control tries out, say little: the best of these counts.
constexpr std::size_t kWindowsRemembered = 4;
// The kernel holds a moment's bytes beyond those that wait here: a network that lets messages wait
// for this share of the time was busy all the time, and one below the other share had room left.
constexpr double kBusyShare = 0.4;
constexpr double kFreeShare = 0.15;
// A round trip that takes so much longer than the shortest waits in a line somewhere. Radio links
// have such without anybody's doing: one alone is no reason to limit what is less than this.
constexpr Duration kLongLine = 20ms;
constexpr Duration kShortLine = 10ms;
constexpr double kLeastOfLine = 3'000'000;  // bit/s
// A line that stays although less is sent is none: the way has become longer.
constexpr int kWindowsOfLongerWay = 8;
// A lost packet holds up what follows for a round trip, and as many are lost as are sent: a network
// that repairs for most of the time shows everything late, one that is sent less shows most at
// once.
constexpr double kMostRepair = 0.3;
constexpr double kLittleRepair = 0.2;
constexpr double kRepairWeight = 0.15;        // of the newest window
constexpr double kRepairCut = 0.97;           // besides the used share
constexpr double kLeastOfRepair = 4'000'000;  // bit/s
// Of what a busy network carried: the rest empties the lines that have formed in it.
constexpr double kUsedShare = 0.85;
// Growth of the rate for each window that used it with room left; faster when many did.
constexpr double kGrowth = 1.05;
constexpr double kFastGrowth = 1.15;
constexpr int kFreeWindows = 4;
constexpr double kNeededShare = 0.6;       // of the rate, that counts as used
constexpr double kLeastRate = 500'000;     // bit/s
constexpr double kMostRate = 200'000'000;  // bit/s; above it there is no limit

}  // namespace

void LinkPace::queued(std::size_t bytes, Clock::time_point now) {
  advance(now);
  waiting_ += bytes;
}

void LinkPace::taken(std::size_t bytes, const std::optional<platform::NetworkPath>& path,
                     Clock::time_point now) {
  waiting_ -= std::min(bytes, waiting_);
  taken_ += bytes;
  if (path) {
    roundTrip_ = path->roundTrip;
    leastRoundTrip_ = std::min(leastRoundTrip_.value_or(*roundTrip_), *roundTrip_);
    resentPackets_ = path->resentPackets;
  }
  advance(now);
}

std::optional<int> LinkPace::bitRate() const {
  if (!rate_) return std::nullopt;
  return static_cast<int>(*rate_);
}

Duration LinkPace::lineDelay() const {
  return roundTrip_ ? *roundTrip_ - *leastRoundTrip_ : Duration::zero();
}

void LinkPace::advance(Clock::time_point now) {
  if (waiting_ > 0) held_ += now - last_;
  last_ = now;
  if (now - windowStart_ < kWindow) return;
  judge(std::chrono::duration<double>(now - windowStart_).count());
  windowStart_ = now;
  held_ = Duration::zero();
  taken_ = 0;
}

void LinkPace::judge(double seconds) {
  const double carried = 8 * static_cast<double>(taken_) / seconds;
  carried_.push_back(carried);
  if (carried_.size() > kWindowsRemembered) carried_.pop_front();
  const double share = std::chrono::duration<double>(held_).count() / seconds;

  const auto resent = resentPackets_ - std::exchange(resentBefore_, resentPackets_);
  const double roundTrip = std::chrono::duration<double>(roundTrip_.value_or(Duration())).count();
  repairShare_ += kRepairWeight * (std::min(1.0, resent * roundTrip / seconds) - repairShare_);

  const double used = kUsedShare * *std::ranges::max_element(carried_);
  slowWindows_ = lineDelay() > kLongLine ? slowWindows_ + 1 : 0;
  if (slowWindows_ > kWindowsOfLongerWay) {
    leastRoundTrip_ = roundTrip_;
    slowWindows_ = 0;
  }
  if (share >= kBusyShare) {
    rate_ = std::max(used, kLeastRate);
    freeWindows_ = 0;
  } else if (slowWindows_ > 0) {
    if (used > (rate_ ? kLeastRate : kLeastOfLine)) rate_ = used;
    freeWindows_ = 0;
  } else if (repairShare_ > kMostRepair) {
    if (used > kLeastOfRepair) rate_ = std::min(rate_.value_or(used), used) * kRepairCut;
    freeWindows_ = 0;
  } else if (rate_ && repairShare_ <= kLittleRepair && share <= kFreeShare &&
             lineDelay() <= kShortLine && carried >= kNeededShare * *rate_) {
    *rate_ *= ++freeWindows_ > kFreeWindows ? kFastGrowth : kGrowth;
    if (*rate_ > kMostRate) rate_.reset();
  }
}

}  // namespace tessaline
