#pragma once

#include <functional>
#include <memory>

#include "base/Queue.h"

namespace tessaline::platform {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main queue, and ignores SIGPIPE: a peer that
/// closes its socket is an error code, not a death. Made and destroyed on the main queue; one per
/// process.
class TerminationSignals {
 public:
  /// `onSignal` runs once for each signal received, with its name.
  TerminationSignals(Queues& queues, std::function<void(const char* name)> onSignal);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  class Waiter;
  const std::shared_ptr<Waiter> waiter_;
};

}  // namespace tessaline::platform
