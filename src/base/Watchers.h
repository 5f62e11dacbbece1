#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tessaline {

/// Those who want to hear of something for as long as they hold a handle. Usable from any thread.
class Watchers {
 public:
  /// `told` runs on the thread of each `tell`, until the handle is destroyed; a call may be under
  /// way then.
  [[nodiscard]] std::shared_ptr<void> add(std::function<void()> told);
  void tell();

 private:
  std::mutex mutex_;
  std::vector<std::weak_ptr<std::function<void()>>> watchers_;  // guarded by mutex_
};

}  // namespace tessaline
