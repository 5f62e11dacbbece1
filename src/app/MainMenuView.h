#pragma once

#include <QMenuBar>
#include <functional>
#include <vector>

#include "app/MainMenu.h"

namespace tessaline {

/// The application's main menu on top of a window, as Linux desktops have it. Main thread; owned by
/// the window.
class MainMenuView final : public QMenuBar {
 public:
  MainMenuView(const std::vector<Menu>& menus, QWidget& window);

  /// `switchMode` and `quit`; the others concern nothing but the window. May destroy the window
  /// later, not in the call.
  std::function<void(MenuAction)> onMenu;

 private:
  void perform(MenuAction action);
  void showAbout();

  QWidget& window_;
};

}  // namespace tessaline
