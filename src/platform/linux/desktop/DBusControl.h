#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/ControlEndpoint.h"

namespace tessaline::platform {

/// The names that both sides of the control bus share; requests are methods from at most one text
/// to one text.
struct DBusControl {
  static constexpr const char* kInterface = "app.tessaline.Control1";
  static constexpr const char* kPath = "/app/tessaline";
  static constexpr const char* kChanged = "Changed";
  static constexpr const char* kRefused = "app.tessaline.Error.Refused";

  /// Serves `requests` on the session bus as `busName`, on a thread of its own; requests hop to
  /// `main`. Always succeeds: without a bus it says so in the log and does nothing.
  [[nodiscard]] static std::unique_ptr<ControlEndpoint> serve(std::string busName,
                                                              std::vector<ControlRequest> requests,
                                                              std::shared_ptr<Queue> main);

  /// Talks to the instance that is known as `busName`; connects when it is first used.
  [[nodiscard]] static std::unique_ptr<ControlClient> client(std::string busName);
};

}  // namespace tessaline::platform
