#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/Display.h"

namespace tessaline::platform {

/// The displays of a desktop that are switched on: the extra ones under the identifiers that they
/// were made with, all others under some of their own. Written by whoever hears of the layout, read
/// from any thread.
class DisplayTable {
 public:
  void replace(std::vector<DisplayInfo> displays) {
    const std::lock_guard lock(mutex_);
    displays_ = std::move(displays);
  }
  [[nodiscard]] std::vector<DisplayInfo> list() const {
    const std::lock_guard lock(mutex_);
    return displays_;
  }
  [[nodiscard]] std::optional<DisplayInfo> find(DisplayID id) const {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(displays_, id, &DisplayInfo::id);
    return found == displays_.end() ? std::nullopt : std::optional(*found);
  }

 private:
  mutable std::mutex mutex_;
  std::vector<DisplayInfo> displays_;  // guarded by mutex_
};

}  // namespace tessaline::platform
