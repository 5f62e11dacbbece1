#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "app/MainMenu.h"
#include "shell/AppMode.h"

class QMenuBar;
class QVBoxLayout;

namespace tessaline {

/// The window that asks what this computer is to be, with the application's main menu on top. A
/// click on a card, or Return or Space on the one that has the focus, chooses. Main thread.
class ModeChooserWindow final : public QWidget {
 public:
  /// Without `mainModeSupported` the main card is shown but cannot be chosen.
  ModeChooserWindow(bool mainModeSupported, const std::vector<Menu>& menus);

  std::function<void(AppMode)> onChoose;
  /// For the menu items that are not about windows.
  std::function<void(MenuAction)> onMenu;

  /// Centres the window, shows it and brings it to the front.
  void bringToFront();

 private:
  void addCards(QVBoxLayout& column, bool mainModeSupported);
  QMenuBar* createMenuBar(const std::vector<Menu>& menus);
  void perform(MenuAction action);
  void showAbout();
};

}  // namespace tessaline
