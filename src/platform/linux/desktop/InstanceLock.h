#pragma once

#include <filesystem>

#include "base/Queue.h"

namespace tessaline::platform {

/// The right to be the one instance of a configuration folder, held as a lock on a file there. The
/// kernel releases it when the process ends, however it ends. Used from one thread.
class InstanceLock {
 public:
  enum class Outcome {
    held,
    taken,   ///< another instance has it
    failed,  ///< the file cannot be made or locked; the reason is in the log
  };

  explicit InstanceLock(std::filesystem::path file) : file_(std::move(file)) {}
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  /// Takes the lock, waiting at most `limit` for the instance that has it.
  [[nodiscard]] Outcome acquire(Duration limit = Duration::zero());

 private:
  const std::filesystem::path file_;
  int descriptor_ = -1;
};

}  // namespace tessaline::platform
