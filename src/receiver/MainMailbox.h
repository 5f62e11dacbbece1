#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/Queue.h"
#include "platform/PointerSource.h"
#include "receiver/PointerPlacement.h"

namespace tessaline {

/// News for the main queue of which only the newest of each kind counts: while it is busy, a later
/// one takes an earlier one's place, so that a flood of them waits as one. Callable from any
/// thread; owned by the receiver's engine.
class MainMailbox {
 public:
  struct CursorMove {
    double x = 0;
    double y = 0;
    bool visible = false;
  };
  struct CursorImage {
    std::shared_ptr<const platform::PointerImage> image;
    PointerShape shape;
  };
  struct News {
    std::optional<PixelSize> videoSize;
    std::optional<CursorImage> cursorShape;
    std::optional<CursorMove> cursorMove;
  };

  /// Changes the news. True when nobody is on the way to `take` them yet.
  template <typename Change>
  [[nodiscard]] bool put(const Change& change) {
    const std::lock_guard lock(mutex_);
    const bool first = !news_;
    if (first) news_.emplace();
    change(*news_);
    return first;
  }
  [[nodiscard]] News take() {
    const std::lock_guard lock(mutex_);
    News news = news_ ? std::move(*news_) : News{};
    news_.reset();
    return news;
  }

 private:
  std::mutex mutex_;
  std::optional<News> news_;
};

}  // namespace tessaline
