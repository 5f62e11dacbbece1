#pragma once

#include <memory>
#include <optional>
#include <string>

#include "support/Program.h"
#include "support/TemporaryFolder.h"

namespace tessaline::test {

/// A network with nobody on it, a system bus and an Avahi daemon that are this process's alone,
/// which then starts and kills them. Made once in a process, before it has threads.
class PrivateNetwork {
 public:
  PrivateNetwork();
  PrivateNetwork(const PrivateNetwork&) = delete;
  PrivateNetwork& operator=(const PrivateNetwork&) = delete;

  /// Why it cannot be had on this machine.
  [[nodiscard]] const std::optional<std::string>& missing() const { return missing_; }

  void startBus();
  void startDaemon();
  void killBus() { bus_.reset(); }
  void killDaemon() { daemon_.reset(); }
  [[nodiscard]] const Program& daemon() const { return *daemon_; }

  /// Runs ip(8) with `arguments`, separated by spaces.
  static bool ip(const std::string& arguments);

 private:
  [[nodiscard]] std::string write(const std::string& name, const std::string& text) const;

  TemporaryFolder folder_;
  std::optional<std::string> missing_;
  std::unique_ptr<Program> bus_;
  std::unique_ptr<Program> daemon_;
};

}  // namespace tessaline::test
