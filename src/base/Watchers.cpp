#include "base/Watchers.h"

#include <utility>

namespace tessaline {

std::shared_ptr<void> Watchers::add(std::function<void()> told) {
  auto watcher = std::make_shared<std::function<void()>>(std::move(told));
  const std::lock_guard lock(mutex_);
  watchers_.push_back(watcher);
  return watcher;
}

void Watchers::tell() {
  std::vector<std::shared_ptr<std::function<void()>>> watchers;
  {
    const std::lock_guard lock(mutex_);
    std::erase_if(watchers_, [](const auto& watcher) { return watcher.expired(); });
    for (const auto& watcher : watchers_) {
      if (auto alive = watcher.lock()) watchers.push_back(std::move(alive));
    }
  }
  for (const auto& watcher : watchers) (*watcher)();
}

}  // namespace tessaline
