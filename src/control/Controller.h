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
#include "control/ReceiverSearch.h"
#include "control/SetupAssistant.h"
#include "control/StatusMenu.h"
#include "platform/ScreenCaptureAccess.h"
#include "platform/ServiceDiscovery.h"
#include "platform/SystemCommands.h"
#include "platform/Workspace.h"
#include "shell/Hotkey.h"
#include "streaming/Session.h"
#include "system/AirDropPause.h"
#include "system/ScreenPermission.h"
#include "web/ApprovedDevices.h"
#include "web/TLSIdentity.h"
#include "web/TouchInput.h"
#include "web/WebScreenServer.h"

namespace tessaline {

/// What the main role needs of the system; outlives the controller.
struct ControllerServices {
  SessionServices session;
  platform::ServiceDiscovery& discovery;
  platform::Workspace& workspace;
  std::shared_ptr<platform::SystemCommands> commands;  ///< outlives the controller for a command
  platform::ScreenCaptureAccess& screenAccess;
  ControllerWindows& windows;
  TouchInput& touch;
  /// Where the page's listeners find their identity; none: plain HTTP.
  std::optional<TLSIdentity> tls = std::nullopt;
  /// Renews the identity where it must and says whether it has changed
  /// (`DirectCertificate::refresh`); none: nobody does.
  std::function<void(std::function<void(bool changed)> done)> refreshCertificate = nullptr;
};

/// The main role: finds the computers that lend their screen, serves one of them and any number of
/// browsers, and says what its menu and its setup assistant show. Lives on the main queue; owned by
/// the application shell, which creates one and calls `launch` once.
class Controller {
 public:
  Controller(ControllerServices services, UserDefaults& defaults);
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
  [[nodiscard]] const ReceiverSearch::Receivers& receivers() const { return search_.receivers(); }
  /// The screen of the current session with another computer.
  [[nodiscard]] const std::optional<std::string>& activeName() const { return activeName_; }
  [[nodiscard]] const std::optional<std::string>& lastError() const { return lastError_; }
  [[nodiscard]] bool localNetworkDenied() const { return search_.localNetworkDenied(); }
  [[nodiscard]] bool localNetworkOK() const { return search_.localNetworkOK(); }
  [[nodiscard]] bool browsing() const { return search_.browsing(); }
  /// The session with another computer shows its picture.
  [[nodiscard]] bool streaming() const { return streaming_; }
  /// Any session is streaming: the icon is in its active form.
  [[nodiscard]] bool live() const;
  /// The session with another computer until its end has been reported; nothing without one.
  [[nodiscard]] const std::shared_ptr<Session>& session() const { return session_; }

  /// Bit/s handed to new sessions: the "bitrate" setting, 25,000,000 when absent or below 1.
  [[nodiscard]] int bitrate() const;
  [[nodiscard]] std::optional<std::string> lastReceiver() const;
  void setLastReceiver(const std::optional<std::string>& name);
  /// The AirDrop link is paused at all, and only while things move.
  [[nodiscard]] bool cutAirDrop() const { return airDrop_.cut(); }
  void setCutAirDrop(bool cut);
  [[nodiscard]] bool smartAirDrop() const { return airDrop_.smart(); }
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
  using Item = StatusMenuItem;
  using Step = SetupAssistant::Step;

  void stateChanged(const Session& session);
  void ended(const std::shared_ptr<Session>& session, const std::optional<std::string>& reason);
  void sessionEnded(const std::optional<std::string>& reason);
  void sessionsChanged();
  void changed() const { observers_.notify(); }
  [[nodiscard]] std::optional<std::string> startTarget() const;
  [[nodiscard]] std::vector<std::string> streamingNames() const;
  [[nodiscard]] bool allEnded() const;
  void finishQuitAfter(Duration delay);
  void refreshCertificate();

  /// `operation` as an action that does nothing once this object has gone.
  [[nodiscard]] std::function<void()> action(std::function<void(Controller&)> operation) const;
  [[nodiscard]] StatusMenu::Header menuHeader() const;
  void addSessionItems(std::vector<Item>& items) const;
  void addScreenItems(std::vector<Item>& items) const;
  [[nodiscard]] Item addScreenMenu() const;
  [[nodiscard]] Item settingsMenu() const;
  void addAirDropItems(std::vector<Item>& items) const;
  void toggleReceiver(const std::string& name);
  void openSupport();
  void toggleTouch();
  [[nodiscard]] bool opensAtLogin() const;
  void setOpensAtLogin(bool on);

  [[nodiscard]] Step screenRecordingStep() const;
  [[nodiscard]] Step localNetworkStep() const;
  [[nodiscard]] Step otherMacStep() const;
  [[nodiscard]] Step smoothStep() const;

  const ControllerServices services_;
  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  ApprovedDevices approved_;
  ScreenPermission permission_;
  AirDropPause airDrop_;
  ReceiverSearch search_;
  Hotkey hotkey_;
  std::unique_ptr<WebScreenServer> web_;
  std::shared_ptr<Session> session_;
  std::vector<std::shared_ptr<Session>> replaced_;  // told to stop, their end not reported yet
  std::optional<std::string> activeName_;
  std::optional<std::string> lastError_;
  bool streaming_ = false;
  bool userStopped_ = false;  // nothing starts by itself until the user starts something
  bool permissionAsked_ = false;
  bool linkReleased_ = false;  // while quitting: the AirDrop link is up again
  Timer reconnect_;
  Timer certificate_;
  Observers observers_;
  Subscription approvals_;
  Subscription server_;
  std::vector<std::function<void()>> quitDone_;  // not empty while quitting
  Timer quitTimer_;
  const std::shared_ptr<Controller*> self_;  // what callbacks hold weakly, main queue only
};

}  // namespace tessaline
