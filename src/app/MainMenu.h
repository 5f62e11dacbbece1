#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tessaline {

enum class MenuAction { about, switchMode, hide, quit, closeWindow };

/// One line of a menu; without an action it is a separator.
struct MenuItem {
  std::optional<MenuAction> action;
  std::string title;
  char key = 0;  ///< with Command, or with Control where there is no such key; 0: none
};

struct Menu {
  std::string title;  ///< empty: the application's own menu
  std::vector<MenuItem> items;
};

/// The application's main menu, as plain data that any toolkit can show.
[[nodiscard]] std::vector<Menu> mainMenu();

}  // namespace tessaline
