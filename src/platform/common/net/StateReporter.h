#pragma once

#include <optional>

#include "platform/Network.h"

namespace tessaline::platform {

/// Tells a connection's owner the connection's states: nothing follows a final one, which is told
/// once, also to an owner that starts a connection that has already ended. Lives on its
/// connection's queue, owned by it.
class StateReporter {
 public:
  /// `begin` follows in a later turn of the queue, so that no handler runs inside `start`.
  void start(AnyConnection::StateHandler handler);
  /// Reports `preparing` and answers true, or the final state of a connection that ended before.
  [[nodiscard]] bool begin();
  void report(ConnectionState state);
  /// Nothing but the final state is reported from now on. False when the end was known already.
  [[nodiscard]] bool end(ConnectionState final);
  /// Reports the final state, once the connection's other callbacks have been answered, and
  /// destroys the handler.
  void tellEnd();
  [[nodiscard]] bool ended() const { return final_.has_value(); }

 private:
  AnyConnection::StateHandler handler_;
  std::optional<ConnectionState> final_;
  bool started_ = false;
  bool begun_ = false;
};

}  // namespace tessaline::platform
