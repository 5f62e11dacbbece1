#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "base/Observers.h"
#include "base/UserDefaults.h"
#include "streaming/Session.h"
#include "web/ApprovedDevices.h"
#include "web/WebScreenServer.h"

namespace tessaline {

/// The main role: owns the web screen server and the questions about new devices. Lives on the main
/// queue; owned by the application shell, which creates one and calls `launch` once.
class Controller {
 public:
  Controller(SessionServices services, UserDefaults& defaults);
  ~Controller();

  /// The user wants this computer to become something else; set by the shell.
  std::function<void()> onSwitchMode;

  void launch();
  /// Ends every session politely, then calls `onSwitchMode`.
  void switchRole();
  /// Says goodbye on every link and calls `done` when all sessions have ended, after one second at
  /// the latest. No display is left then.
  void quit(std::function<void()> done);

  /// Bit/s handed to new sessions: the "bitrate" setting, 25,000,000 when absent or below 1.
  [[nodiscard]] int bitrate() const;
  [[nodiscard]] WebScreenServer& web() { return *web_; }
  [[nodiscard]] ApprovedDevices& approvedDevices() { return approved_; }
  /// A session is streaming.
  [[nodiscard]] bool live() const;

  /// Anything that `status` would show has changed.
  [[nodiscard]] Subscription observe(Observers::Observer observer);

 private:
  void finishQuitAfter(Duration delay);

  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  ApprovedDevices approved_;
  std::unique_ptr<WebScreenServer> web_;
  Observers observers_;
  Subscription approvals_;
  Subscription server_;
  std::vector<std::function<void()>> quitDone_;  // not empty while quitting
  Timer quitTimer_;
};

}  // namespace tessaline
