#pragma once

#include <avahi-common/watch.h>

#include <memory>

#include "base/Queue.h"

namespace tessaline::platform {

/// Avahi's event loop interface over a queue that is an AsioQueue: a client made with it lives on
/// that queue. Its timers do not mind the clock being set. Destroyed after the client.
class AvahiEvents {
 public:
  explicit AvahiEvents(std::shared_ptr<Queue> queue);
  AvahiEvents(const AvahiEvents&) = delete;
  AvahiEvents& operator=(const AvahiEvents&) = delete;

  [[nodiscard]] const AvahiPoll* api() const { return &api_; }

 private:
  const std::shared_ptr<Queue> queue_;
  AvahiPoll api_{};
};

}  // namespace tessaline::platform
