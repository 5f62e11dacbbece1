#pragma once

#include <memory>
#include <optional>

#include "base/Bytes.h"
#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::bench {

/// A WebSocket of the application's own network room on this machine, with a client at its other
/// end that reads everything at once. Used from one thread.
class LoopbackSocket {
 public:
  static Result<std::unique_ptr<LoopbackSocket>> open(Queues& queues);
  ~LoopbackSocket();

  /// Sends one message and returns how long it took until the client held the whole of it; nothing
  /// when it never arrived.
  [[nodiscard]] std::optional<Duration> send(SharedBytes message);

 private:
  class Pair;
  explicit LoopbackSocket(std::unique_ptr<Pair> pair);
  const std::unique_ptr<Pair> pair_;
};

}  // namespace tessaline::bench
