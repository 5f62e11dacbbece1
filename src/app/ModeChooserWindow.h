#pragma once

#include <functional>
#include <vector>

#include "app/MainMenu.h"
#include "shell/AppMode.h"
#include "shell/CentredWindow.h"

namespace tessaline {

/// The window that asks what this computer is to be, with the application's main menu on top. A
/// click on a card, or Return or Space on the one that has the focus, chooses. Main thread.
class ModeChooserWindow final : public CentredWindow {
 public:
  /// Without `mainModeSupported` the main card is shown but cannot be chosen.
  ModeChooserWindow(bool mainModeSupported, const std::vector<Menu>& menus);

  std::function<void(AppMode)> onChoose;
  /// `switchMode` and `quit`; the window does the others itself.
  std::function<void(MenuAction)> onMenu;

 private:
  void addCards(QVBoxLayout& column, bool mainModeSupported);
};

}  // namespace tessaline
