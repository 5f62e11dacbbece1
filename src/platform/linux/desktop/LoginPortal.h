#pragma once

#include <memory>
#include <string>

namespace tessaline::platform {

/// The start at login from inside a sandbox (Flatpak), which does not reach the folder that the
/// desktop looks into: the desktop portal does it, and may ask the user. What it has granted is
/// written as a `LoginEntry`, which no desktop reads there and `LoginEntry::exists` does. Used from
/// the main queue; answers come on a thread of the connection's.
class LoginPortal {
 public:
  /// Whether this process is in such a sandbox.
  [[nodiscard]] static bool needed();

  LoginPortal();
  ~LoginPortal();
  LoginPortal(const LoginPortal&) = delete;
  LoginPortal& operator=(const LoginPortal&) = delete;

  /// Nothing waits for the answer; a newer request makes an older one's meaningless. Without a bus
  /// or a portal: one log line.
  void request(const std::string& label, const std::string& executable, bool on);

 private:
  class Request;
  std::unique_ptr<Request> request_;
};

}  // namespace tessaline::platform
