#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

#include "base/Queue.h"

namespace tessaline {

/// One kind of log line that outsiders can provoke as often as they like: `log` sees one in ten
/// seconds, which tells how many there were since the last. Callable from any thread.
class LimitedLog {
 public:
  void write(std::string_view message, Clock::time_point now = Clock::now());

 private:
  std::mutex mutex_;
  std::optional<Clock::time_point> last_;  // when a line was written; guarded by mutex_
  std::uint64_t leftOut_ = 0;              // since then; guarded by mutex_
};

}  // namespace tessaline
