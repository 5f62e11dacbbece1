#pragma once

#include <stop_token>
#include <string>
#include <vector>

#include "base/Result.h"

namespace tessaline::platform {

/// Runs programs to their end. Callable from any thread.
class ProcessRunner {
 public:
  struct Output {
    int status = 0;    ///< what it exited with; 128 and the signal's number when one ended it
    std::string text;  ///< both output streams, up to a bound
  };

  virtual ~ProcessRunner() = default;

  /// Blocks until `program`, a full path, has ended. Never through a shell; it reads an empty input
  /// and inherits no open file. When `stop` is requested, or it takes over a minute, it is killed.
  [[nodiscard]] virtual Result<Output> run(const std::string& program,
                                           const std::vector<std::string>& arguments,
                                           std::stop_token stop) = 0;
};

}  // namespace tessaline::platform
