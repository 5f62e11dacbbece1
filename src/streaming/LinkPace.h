#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include "base/Queue.h"
#include "platform/Network.h"

namespace tessaline {

/// What bit rate a network carries without lines forming in it, learnt from how long messages wait
/// here and how much longer than at best they are on their way. Knows nothing as long as the
/// network takes at once what it is given. Owned and guarded by its link.
class LinkPace {
 public:
  explicit LinkPace(Clock::time_point now) : windowStart_(now), last_(now) {}

  /// A message waits for the network.
  void queued(std::size_t bytes, Clock::time_point now);
  /// The network took a message. `path` is the way of the bytes before it, where it is known.
  void taken(std::size_t bytes, const std::optional<platform::NetworkPath>& path,
             Clock::time_point now);

  /// Bit/s that pictures may have without piling up, nothing when no limit is known.
  [[nodiscard]] std::optional<int> bitRate() const;

 private:
  void advance(Clock::time_point now);
  void judge(double seconds);
  [[nodiscard]] Duration lineDelay() const;

  Clock::time_point windowStart_;
  Clock::time_point last_;
  Duration held_{};             // time in this window with something waiting
  std::size_t waiting_ = 0;     // bytes
  std::size_t taken_ = 0;       // bytes, in this window
  std::deque<double> carried_;  // bit/s, in the last windows
  std::optional<Duration> roundTrip_;
  std::optional<Duration> leastRoundTrip_;
  std::uint32_t resentPackets_ = 0;
  std::uint32_t resentBefore_ = 0;  // when this window began
  double repairShare_ = 0;          // of the time, smoothed: a lost packet held up all behind it
  int freeWindows_ = 0;             // that could grow, since one that had to shrink
  int slowWindows_ = 0;             // one after the other, with a line in the network
  std::optional<double> rate_;      // bit/s
};

}  // namespace tessaline
