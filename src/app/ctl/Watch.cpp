#include "app/ctl/Watch.h"

#include <chrono>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include "app/ctl/ExitCodes.h"
#include "app/ctl/Status.h"
#include "base/SafeText.h"

namespace tessaline::ctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kInterval{1};
constexpr int kLinesBetweenHeaders = 20;

/// What a stream had sent when it was last asked.
struct Sums {
  std::int64_t frames = 0;
  std::int64_t bytes = 0;
};

void printHeader() {
  std::cout << "  median     95th   decode  frames/s     kbit/s  dropped  screen" << std::endl;
}

std::string milliseconds(double value) {
  if (value <= 0) return "–";
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << value << " ms";
  return text.str();
}

/// `text` flush right; the dash counts as one column.
std::string column(const std::string& text, std::size_t width) {
  const std::size_t columns = text == "–" ? 1 : text.size();
  return std::string(width > columns ? width - columns : 0, ' ') + text;
}

void printLine(const Status::Screen& screen, const Sums& before, double seconds) {
  const auto rate = [seconds](std::int64_t now, std::int64_t then) {
    return static_cast<double>(now < then ? 0 : now - then) / seconds;  // a new session begins at 0
  };
  std::ostringstream line;
  line << column(milliseconds(screen.latencyMedian), 8) << ' '
       << column(milliseconds(screen.latency95th), 8) << ' '
       << column(milliseconds(screen.decodeTime), 8) << std::fixed << std::setprecision(1)
       << std::setw(10) << rate(screen.frames, before.frames) << std::setprecision(0)
       << std::setw(11) << rate(screen.bytes, before.bytes) * 8 / 1000 << std::setw(9)
       << screen.dropped << "  " << screen.name;
  std::cout << line.str() << std::endl;
}

}  // namespace

int watchStreams(platform::ControlClient& client) {
  std::map<std::string, Sums> sums;
  auto last = Clock::now();
  bool waiting = false;
  for (int lines = 0;; std::this_thread::sleep_until(last + kInterval)) {
    const auto now = Clock::now();
    const auto reply = client.request("Status", std::nullopt);
    const auto status = reply.problem ? std::nullopt : Status::parse(reply.text);
    if (!status) {
      std::cerr << withoutControls(reply.text) << '\n';
      return kNotRunning;
    }
    const double seconds = std::chrono::duration<double>(now - last).count();
    last = now;
    std::map<std::string, Sums> present;
    for (const auto& screen : status->screens) {
      if (!screen.streaming) continue;
      // The first look at a stream has nothing to compare with.
      if (const auto known = sums.find(screen.name); known != sums.end()) {
        if (lines++ % kLinesBetweenHeaders == 0) printHeader();
        printLine(screen, known->second, seconds);
      }
      present[screen.name] = {screen.frames, screen.bytes};
    }
    if (present.empty() && !waiting) std::cout << "No extra screen is on." << std::endl;
    waiting = present.empty();
    sums = std::move(present);
  }
}

}  // namespace tessaline::ctl
