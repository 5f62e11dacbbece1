#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/UserDefaults.h"
#include "shell/AppMode.h"

namespace tessaline {

/// Whether the application shows itself among the running programs.
enum class ActivationPolicy {
  regular,
  accessory,  ///< it lives in the menu bar or the tray only
};

/// Decides what this process is: it starts the stored role, or asks for one with the chooser, and
/// changes it later only by starting a fresh process. Also the one place where the process ends.
/// Lives on the main queue; owned by the process entry.
class AppDelegate {
 public:
  /// A running role.
  class Role {
   public:
    virtual ~Role() = default;
    /// The user wants this computer to become something else.
    std::function<void()> onSwitchMode;
    virtual void start() = 0;
    /// The user started the running application once more.
    virtual void reopen() = 0;
    /// Ends in order and calls `done`, in bounded time. `done` may destroy the role.
    virtual void quit(std::function<void()> done) = 0;
  };

  /// The window that asks for the role. Destroying it closes it.
  class Chooser {
   public:
    virtual ~Chooser() = default;
    /// Destroys the chooser: it calls a copy.
    std::function<void(AppMode)> onChoose;
    /// Centred, in front of everything; also after the user has closed it.
    virtual void show() = 0;
  };

  /// What the delegate needs from the application around it; outlives the delegate.
  class Outside {
   public:
    virtual ~Outside() = default;
    virtual void setActivationPolicy(ActivationPolicy policy) = 0;
    /// Whether this desktop offers virtual displays. May turn false when a start has shown that it
    /// does not.
    [[nodiscard]] virtual bool mainModeSupported() = 0;
    /// Nothing when the role cannot run here; the reason is in the log.
    [[nodiscard]] virtual std::unique_ptr<Role> createRole(AppMode mode) = 0;
    [[nodiscard]] virtual std::unique_ptr<Chooser> createChooser() = 0;
    virtual void requestScreenPermission() = 0;
    virtual bool relaunch() = 0;
    /// Ends the event loop; the process then ends with `code`.
    virtual void exit(int code) = 0;
  };

  /// `arguments` are the command line's without the program's name.
  AppDelegate(Outside& outside, UserDefaults& defaults, std::vector<std::string> arguments);

  void didFinishLaunching();
  /// Forgets the role and starts a fresh process, which asks for one.
  void switchMode();
  /// The user started the running application once more. False while it is ending.
  [[nodiscard]] bool reopen();
  /// Ends the role in order, then the process. The first call counts.
  void terminate(int exitCode);

  /// The role that this process plays, nothing while the chooser asks.
  [[nodiscard]] std::optional<AppMode> role() const { return mode_; }

 private:
  void decide();
  void startMain();
  void startScreen();
  void showChooser();
  std::unique_ptr<Role> createRole(AppMode mode);

  Outside& outside_;
  UserDefaults& defaults_;
  const std::vector<std::string> arguments_;
  std::optional<AppMode> mode_;
  std::unique_ptr<Chooser> chooser_;
  std::unique_ptr<Role> mainController_;
  std::unique_ptr<Role> screenController_;
  bool terminating_ = false;
};

}  // namespace tessaline
