#pragma once

#include <memory>

#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/ScreenCaptureAccess.h"
#include "platform/Workspace.h"

namespace tessaline {

/// The permission to capture the screen: without it the main role cannot work at all. A system
/// without such a rule grants it always. Main queue; owned by the controller.
class ScreenPermission {
 public:
  ScreenPermission(platform::ScreenCaptureAccess& access, platform::Workspace& workspace,
                   std::shared_ptr<Queue> main, UserDefaults& defaults);

  /// Asks nobody.
  [[nodiscard]] bool granted() const { return access_.granted(); }
  /// Asks for it. The system's own question comes once in a lifetime and gets two seconds before
  /// the settings open; after that the settings are the only way, so they open at once.
  void request();
  /// Shows the application's file, to be dragged into the list in the settings.
  void revealApplication() { access_.revealApplication(); }

 private:
  platform::ScreenCaptureAccess& access_;
  platform::Workspace& workspace_;
  const std::shared_ptr<Queue> main_;
  UserDefaults& defaults_;
  std::unique_ptr<platform::ScreenCaptureAccess::Trial> trial_;
  Timer trialEnd_;
  Timer settings_;
};

}  // namespace tessaline
