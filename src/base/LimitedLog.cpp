#include "base/LimitedLog.h"

#include <string>
#include <utility>

#include "base/Log.h"

namespace tessaline {
namespace {

constexpr std::chrono::seconds kInterval{10};

}  // namespace

void LimitedLog::write(std::string_view message, Clock::time_point now) {
  std::uint64_t leftOut = 0;
  {
    const std::lock_guard lock(mutex_);
    if (last_ && now - *last_ < kInterval) {
      ++leftOut_;
      return;
    }
    last_ = now;
    leftOut = std::exchange(leftOut_, 0);
  }
  std::string line(message);
  if (leftOut > 0) line += " (and " + std::to_string(leftOut) + " more like this before it)";
  log(line);
}

}  // namespace tessaline
