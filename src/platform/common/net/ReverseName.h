#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/Queue.h"

namespace tessaline::platform {

/// Asks the system for the names of numeric addresses. The system's call blocks, for many seconds
/// at worst, so each runs on a thread of its own, of which there are a few at most. Callable from
/// any thread; answers arrive on the queue given with each question.
class ReverseName {
 public:
  using Done = std::function<void(std::optional<std::string>)>;
  /// The blocking question itself, a function of the address; tests substitute it.
  using Ask = std::function<std::optional<std::string>(const std::string&)>;

  explicit ReverseName(Ask ask = askSystem);

  /// Runs `done` exactly once: with the name, or with nothing when there is none, when `limit` has
  /// passed, or when too many questions are open.
  void find(const std::string& address, Duration limit, const std::shared_ptr<Queue>& queue,
            Done done);

  [[nodiscard]] static std::optional<std::string> askSystem(const std::string& address);

 private:
  const Ask ask_;
  /// Shared with the threads, which may outlive this object.
  const std::shared_ptr<std::atomic<int>> open_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace tessaline::platform
