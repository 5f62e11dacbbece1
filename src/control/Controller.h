#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Observers.h"
#include "base/UserDefaults.h"
#include "control/ControllerWindows.h"
#include "control/SetupAssistant.h"
#include "control/StatusMenu.h"
#include "platform/ScreenCaptureAccess.h"
#include "platform/ServiceDiscovery.h"
#include "platform/SystemCommands.h"
#include "platform/Workspace.h"
#include "streaming/Session.h"
#include "web/ApprovedDevices.h"
#include "web/WebScreenServer.h"

namespace tessaline {

/// What the main role needs of the system; outlives the controller.
struct ControllerServices {
  SessionServices session;
  platform::ServiceDiscovery& discovery;
  platform::Workspace& workspace;
  platform::SystemCommands& commands;
  platform::ScreenCaptureAccess& screenAccess;
  ControllerWindows& windows;
};

/// The main role: finds the computers that lend their screen, serves one of them and any number of
/// browsers, and says what its menu and its setup assistant show. Lives on the main queue; owned by
/// the application shell, which creates one and calls `launch` once.
class Controller {
 public:
  Controller(ControllerServices services, UserDefaults& defaults);
  /// For a shell that has nothing but sessions to offer yet.
  Controller(SessionServices services, UserDefaults& defaults);
  ~Controller();

  /// The user wants this computer to become something else; set by the shell.
  std::function<void()> onSwitchMode;
  /// The user wants the application to end; set by the shell, which answers by `quit`.
  std::function<void()> onTerminate;

  void launch();
  /// Ends every session politely, then calls `onSwitchMode`.
  void switchRole();
  /// Says goodbye on every link and calls `done` when all sessions have ended, after one second at
  /// the latest. No display is left then.
  void quit(std::function<void()> done);

  /// Stops everything, or starts on the last screen (without one: the alphabetically first).
  void toggleStreaming();
  /// Starts on a screen that discovery shows, instead of the current one. False when it shows none
  /// of that name.
  bool connect(const std::string& name);
  void connect(const std::string& name, const platform::ServiceEndpoint& endpoint);
  /// Starts on the last screen, if it is there and nothing speaks against it.
  void autoConnect();
  /// Ends the session with another computer and stays so until the user starts one.
  void disconnect();

  void showOnboarding();
  void finishOnboarding();
  /// Asks for the permission to capture the screen.
  void requestScreenPermission();

  /// The computers that lend their screen, as discovery sees them now, by their names.
  [[nodiscard]] const std::map<std::string, platform::ServiceEndpoint>& receivers() const;
  /// The screen of the current session with another computer.
  [[nodiscard]] const std::optional<std::string>& activeName() const { return activeName_; }
  [[nodiscard]] const std::optional<std::string>& lastError() const { return lastError_; }
  [[nodiscard]] bool localNetworkDenied() const;
  [[nodiscard]] bool localNetworkOK() const;
  [[nodiscard]] bool browsing() const;
  /// The session with another computer shows its picture.
  [[nodiscard]] bool streaming() const { return streaming_; }
  /// Any session is streaming: the icon is in its active form.
  [[nodiscard]] bool live() const;
  /// The session with another computer; nothing when there is none.
  [[nodiscard]] const std::shared_ptr<Session>& session() const { return session_; }

  /// Bit/s handed to new sessions: the "bitrate" setting, 25,000,000 when absent or below 1.
  [[nodiscard]] int bitrate() const;
  [[nodiscard]] std::optional<std::string> lastReceiver() const;
  void setLastReceiver(const std::optional<std::string>& name);
  [[nodiscard]] bool cutAirDrop() const;
  void setCutAirDrop(bool cut);
  [[nodiscard]] bool smartAirDrop() const;
  void setSmartAirDrop(bool smart);

  /// What the menu shows now.
  [[nodiscard]] StatusMenu statusMenu();
  /// What the setup assistant shows now.
  [[nodiscard]] SetupAssistant setupAssistant();

  [[nodiscard]] WebScreenServer& web() { return *web_; }
  [[nodiscard]] ApprovedDevices& approvedDevices() { return approved_; }

  /// Anything that the menu, the setup assistant or `status` would show has changed.
  [[nodiscard]] Subscription observe(Observers::Observer observer);

 private:
  void finishQuitAfter(Duration delay);

  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  ApprovedDevices approved_;
  std::unique_ptr<WebScreenServer> web_;
  std::shared_ptr<Session> session_;
  std::optional<std::string> activeName_;
  std::optional<std::string> lastError_;
  bool streaming_ = false;
  Observers observers_;
  Subscription approvals_;
  Subscription server_;
  std::vector<std::function<void()>> quitDone_;  // not empty while quitting
  Timer quitTimer_;
};

}  // namespace tessaline
