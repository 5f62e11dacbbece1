#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tessaline::platform {

/// What it takes to switch one of the system's network interfaces with another user's rights.
/// Callable from any thread; `run` and `runScript` block the caller for as long as it takes.
class SystemCommands {
 public:
  virtual ~SystemCommands() = default;

  /// The flags of a network interface as the system lists them (bit 0: up), nothing when there is
  /// no such interface or the list cannot be read. Cheap: it is asked twice a second.
  [[nodiscard]] virtual std::optional<unsigned> interfaceFlags(const std::string& name) = 0;
  [[nodiscard]] virtual bool fileExists(const std::string& path) = 0;
  /// The short name of the user who runs the application.
  [[nodiscard]] virtual std::string userName() = 0;

  /// Starts a program, never through a shell, and waits for its end. That it cannot be started or
  /// fails is ignored.
  virtual void run(const std::string& program, const std::vector<std::string>& arguments) = 0;
  /// Runs the source of an AppleScript. False when it reports an error: the user refused, say.
  virtual bool runScript(const std::string& source) = 0;
};

}  // namespace tessaline::platform
