#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "support/Program.h"

namespace tessaline::test {

/// A private session bus for one test, and this process's session bus while it lives.
class SessionBus {
 public:
  SessionBus() {
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    if (!available()) return;
    daemon_ = std::make_unique<Program>(std::vector<std::string>{
        "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"});
    if (!daemon_->waitFor(",guid=")) return;
    const std::string said = daemon_->output().substr(daemon_->output().find("unix:"));
    address_ = said.substr(0, said.find('\n'));
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }
  ~SessionBus() { ::unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  /// Whether this machine has the bus daemon at all; tests that need it say so and are skipped.
  static bool available() { return Program({"dbus-daemon", "--version"}).wait() == 0; }

 private:
  std::unique_ptr<Program> daemon_;
  std::string address_;
};

}  // namespace tessaline::test
