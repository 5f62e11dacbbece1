// A slow cable between two network interfaces, which it makes and which go with it:
//
//   slow_cable MEGABITS-PER-SECOND MILLISECONDS PER-CENT-LOST INTERFACE INTERFACE
//
// What enters one comes out of the other, late by the time that it takes at that rate behind what
// went before, and by the given delay. Prints "ready"; ends with its input. The same packets are
// lost in each run. A program, because not every kernel has a queueing discipline that can do this.
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestFrame = 65536;
constexpr std::size_t kQueuedFrames = 1000;  // in each direction, as queueing disciplines have it

struct Quality {
  double bitsPerSecond;
  Clock::duration delay;
  double lostShare;
};

int openInterface(const char* name) {
  const int descriptor = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ifreq request{};
  std::snprintf(request.ifr_name, sizeof request.ifr_name, "%s", name);
  request.ifr_flags = IFF_TAP | IFF_NO_PI;
  if (descriptor < 0 || ioctl(descriptor, TUNSETIFF, &request) != 0) {
    std::perror("slow_cable: /dev/net/tun");
    std::exit(EXIT_FAILURE);
  }
  return descriptor;
}

/// One direction of the cable.
class Wire {
 public:
  Wire(const Quality& quality, int from, int to) : quality_(quality), from_(from), to_(to) {}

  void takeIn(Clock::time_point now) {
    std::array<char, kLongestFrame> frame;
    for (;;) {
      const ssize_t size = read(from_, frame.data(), frame.size());
      if (size <= 0) return;
      if (lost_(dice_) < quality_.lostShare || waiting_.size() >= kQueuedFrames) continue;
      const std::chrono::duration<double> length(8.0 * static_cast<double>(size) /
                                                 quality_.bitsPerSecond);
      free_ = std::max(free_, now) + std::chrono::duration_cast<Clock::duration>(length);
      waiting_.push_back({free_ + quality_.delay, {frame.data(), frame.data() + size}});
    }
  }

  void letOut(Clock::time_point now) {
    for (; !waiting_.empty() && waiting_.front().due <= now; waiting_.pop_front()) {
      const auto& bytes = waiting_.front().bytes;
      // An interface that is down takes nothing: lost, as on a real cable.
      [[maybe_unused]] const ssize_t written = write(to_, bytes.data(), bytes.size());
    }
  }

  [[nodiscard]] Clock::time_point nextDue() const {
    return waiting_.empty() ? Clock::time_point::max() : waiting_.front().due;
  }

 private:
  struct Frame {
    Clock::time_point due;
    std::vector<char> bytes;
  };

  const Quality quality_;
  const int from_;
  const int to_;
  std::deque<Frame> waiting_;
  Clock::time_point free_;  // when the last frame taken in has left the sender
  std::minstd_rand dice_;
  std::uniform_real_distribution<double> lost_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fputs("usage: slow_cable MBIT/S MS PER-CENT-LOST INTERFACE INTERFACE\n", stderr);
    return 2;
  }
  const std::chrono::duration<double, std::milli> delay(std::atof(argv[2]));
  const Quality quality{std::atof(argv[1]) * 1e6,
                        std::chrono::duration_cast<Clock::duration>(delay),
                        std::atof(argv[3]) / 100};
  const int ends[] = {openInterface(argv[4]), openInterface(argv[5])};
  Wire there(quality, ends[0], ends[1]);
  Wire back(quality, ends[1], ends[0]);
  std::puts("ready");
  std::fflush(stdout);

  for (;;) {
    pollfd ready[] = {{ends[0], POLLIN, 0}, {ends[1], POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    const auto due = std::min(there.nextDue(), back.nextDue());
    timespec limit{1, 0};
    if (due != Clock::time_point::max()) {
      const auto left = std::clamp<Clock::duration>(due - Clock::now(), Clock::duration::zero(),
                                                    std::chrono::milliseconds(999));
      limit = {0, std::chrono::nanoseconds(left).count()};
    }
    ppoll(ready, 3, &limit, nullptr);
    if (ready[2].revents != 0) return 0;
    there.takeIn(Clock::now());
    back.takeIn(Clock::now());
    there.letOut(Clock::now());
    back.letOut(Clock::now());
  }
}
