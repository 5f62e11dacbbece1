#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace tessaline::test {

/// Looks until it is so, for as long as a busy machine may need; false when it does not become so.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::seconds patience = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return condition();
}

}  // namespace tessaline::test
