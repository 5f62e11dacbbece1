#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/Result.h"

namespace tessaline::platform {

/// One request that other programs of the same user may make. `Answer` is called once, on any
/// thread, now or later; an answer that nobody waits for any more is dropped.
struct ControlRequest {
  using Answer = std::function<void(Result<std::string>)>;

  std::string name;                     ///< UpperCamel, part of the interface
  std::optional<std::string> argument;  ///< the name of its one argument, if it takes one
  /// Called on the main queue; the argument is empty for requests that take none.
  std::function<void(const std::string& argument, Answer answer)> handle;
};

/// Where other programs of the same user reach the running application. Made and destroyed on the
/// main queue; requests arrive there and nothing here ever blocks it. Where the session offers no
/// such place, one log line says so and the application works without.
class ControlEndpoint {
 public:
  virtual ~ControlEndpoint() = default;
  /// Tells whoever listens that the answers have changed.
  virtual void announceChange() = 0;
};

/// The other side: a program that talks to the running application. Used from one thread, except
/// that `Events` arrive on a thread of the client's own.
class ControlClient {
 public:
  enum class Problem {
    notReachable,  ///< no application is running, or there is no session bus
    refused,       ///< the application answered that it could not
  };
  struct Reply {
    std::optional<Problem> problem;
    std::string text;  ///< the answer, or why there is none
  };
  struct Events {
    std::function<void()> onChange;
    std::function<void()> onGone;  ///< the application or the bus has gone
  };

  virtual ~ControlClient() = default;
  /// Waits for the answer, at most a few seconds.
  [[nodiscard]] virtual Reply request(const std::string& name,
                                      const std::optional<std::string>& argument) = 0;
  /// Starts delivering events; called once. False when there is nothing to watch.
  [[nodiscard]] virtual bool watch(Events events) = 0;
};

}  // namespace tessaline::platform
