#pragma once

#include <deque>
#include <memory>

#include "base/Queue.h"
#include "streaming/ScreenLink.h"

namespace tessaline {

/// Keeps the connections of strangers few and young: a link that has not shown the key is ended
/// when it is too old, and the oldest is ended when there are too many; the newest is never
/// refused. Lives on the main queue; owned by the web screen server.
class UnprovenLinks {
 public:
  static constexpr std::size_t kMaximum = 64;
  static constexpr std::chrono::seconds kMaximumAge{10};

  explicit UnprovenLinks(std::shared_ptr<Queue> main) : main_(std::move(main)) {}

  void add(const std::shared_ptr<ScreenLink>& link);
  /// The link has shown the key, or it has ended. True when it was here.
  bool remove(const ScreenLink& link);

 private:
  struct Entry {
    std::shared_ptr<ScreenLink> link;
    Timer age;
  };
  const std::shared_ptr<Queue> main_;
  std::deque<Entry> entries_;  // oldest first
};

}  // namespace tessaline
