#include "app/MainMenu.h"

namespace tessaline {

std::vector<Menu> mainMenu() {
  const MenuItem separator;
  return {
      {"",
       {{MenuAction::about, "About Tessaline"},
        separator,
        {MenuAction::switchMode, "Change What This Mac Does…"},
        separator,
        {MenuAction::hide, "Hide Tessaline", 'h'},
        {MenuAction::quit, "Quit Tessaline", 'q'}}},
      // "Edit" over nothing but "Close Window" is what it is meant to be.
      {"Edit", {{MenuAction::closeWindow, "Close Window", 'w'}}},
  };
}

}  // namespace tessaline
