#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/Result.h"
#include "platform/linux/wayland/wlroots/WaylandConnection.h"

namespace tessaline::platform {

/// What is needed of a session, found at its start: a connection, and the socket of sway's
/// commands.
struct SessionProbe {
  std::unique_ptr<WaylandConnection> connection;
  std::filesystem::path commands;

  /// Fails with what is lacking. Takes a few seconds at most, and those only where something hangs.
  [[nodiscard]] static Result<SessionProbe> look();
};

}  // namespace tessaline::platform
