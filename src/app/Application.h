#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/ControlBus.h"
#include "app/MainMenu.h"
#include "app/MainRole.h"
#include "app/MainWindows.h"
#include "app/ScreenRole.h"
#include "base/Observers.h"
#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/Workspace.h"

namespace tessaline {

/// The running application: puts the delegate, the roles, the windows and the control bus together
/// with the real system. Lives on the main queue; owned by the process entry, outlived by its
/// queues, user defaults and workspace.
class Application final : private AppDelegate::Outside, private ControlBus::Application {
 public:
  struct Environment {
    Queues& queues;
    UserDefaults& defaults;
    platform::Workspace& workspace;
    std::string busName;
    std::filesystem::path support;       ///< where certificates and other data are kept
    std::vector<std::string> arguments;  ///< the command line without the program's name
  };

  explicit Application(Environment environment);
  ~Application() override;

  void launch();
  /// Ends in order; the event loop then returns `exitCode`.
  void terminate(int exitCode);

 private:
  void setActivationPolicy(ActivationPolicy policy) override;
  /// Always: what a desktop lacks for extra screens, the menu says.
  [[nodiscard]] bool mainModeSupported() override { return true; }
  [[nodiscard]] std::unique_ptr<AppDelegate::Role> createRole(AppMode mode) override;
  [[nodiscard]] std::unique_ptr<AppDelegate::Chooser> createChooser() override;
  void requestScreenPermission() override;
  bool relaunch() override { return environment_.workspace.relaunch(); }
  void exit(int code) override;

  [[nodiscard]] std::string_view role() const override;
  [[nodiscard]] ControlBus::Main* mainRole() override { return mainRole_; }
  [[nodiscard]] std::string screenStatus() const override;
  [[nodiscard]] bool activate() override { return delegate_.reopen(); }
  void switchMode() override { delegate_.switchMode(); }
  void quit() override { delegate_.terminate(0); }

  [[nodiscard]] std::unique_ptr<AppDelegate::Role> createMainRole();
  [[nodiscard]] std::unique_ptr<AppDelegate::Role> createScreenRole();
  void perform(MenuAction action);
  void changed();

  const Environment environment_;
  bool changeAnnounced_ = false;
  // Gone last: who waits for the name to vanish finds every display gone with it.
  ControlBus controlBus_;
  std::unique_ptr<platform::ControlEndpoint> endpoint_;
  MainWindows mainWindows_;
  AppDelegate delegate_;
  // The delegate's, once there is one, until the end.
  MainRole* mainRole_ = nullptr;
  ScreenRole* screenRole_ = nullptr;
  Subscription changes_;
};

}  // namespace tessaline
