#pragma once

namespace tessaline::ctl {

/// How the program ends; scripts rely on the numbers.
enum ExitCode : int {
  kDone = 0,
  kFailed = 1,  ///< the application refused, or nothing was pending
  kUsage = 2,
  kNotRunning = 3,
};

}  // namespace tessaline::ctl
