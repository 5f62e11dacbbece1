#pragma once

#include <QTimer>
#include <memory>

#include "base/Observers.h"
#include "control/ControllerWindows.h"

namespace tessaline {

class ApprovalAlertWindow;
class Controller;
class LinkWindow;
class MacHelpWindow;
class SetupAssistantWindow;
class StatusTrayView;

/// Every window of the main role: the status menu and the approval question from the start, the
/// others when they are first asked for. Main queue; owned by the main role.
class MainWindows final : public ControllerWindows {
 public:
  MainWindows();
  ~MainWindows() override;

  /// Shows what belongs to `controller` from now on; it outlives `close`.
  void open(Controller& controller);
  /// Takes every window away: the role is ending.
  void close();
  /// The user started the application once more.
  void reopen();

  void showOnboarding() override;
  void closeOnboarding() override;
  void showQR() override;
  void showMacHelp() override;
  void setRegular(bool regular) override;

 private:
  void refresh();

  Controller* controller_ = nullptr;  // between `open` and `close`
  std::unique_ptr<ApprovalAlertWindow> approval_;
  std::unique_ptr<StatusTrayView> menu_;
  std::unique_ptr<SetupAssistantWindow> assistant_;
  std::unique_ptr<LinkWindow> link_;
  std::unique_ptr<MacHelpWindow> macHelp_;
  QTimer refresh_;
  Subscription changes_;
};

}  // namespace tessaline
