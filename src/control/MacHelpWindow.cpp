#include "control/MacHelpWindow.h"

#include "control/ControllerWindows.h"
#include "shell/AlertWindow.h"
#include "shell/ViewStyle.h"

namespace tessaline {

MacHelpWindow::MacHelpWindow() = default;
MacHelpWindow::~MacHelpWindow() = default;

void MacHelpWindow::bringToFront() {
  if (!alert_) {
    alert_ = std::make_unique<AlertWindow>(ViewStyle::text(MacHelp::kMessage),
                                           ViewStyle::text(MacHelp::kInformativeText),
                                           QStringList{ViewStyle::text(MacHelp::kButton)});
  }
  alert_->bringToFront();
}

}  // namespace tessaline
