#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tessaline {

/// One entry of the status menu.
struct StatusMenuItem {
  enum class Kind { command, separator, sectionHeader };

  Kind kind = Kind::command;
  std::string title;
  std::string symbol;  ///< the symbol image's name, "qrcode" say; empty: none
  std::string toolTip;
  /// A letter together with modifiers, 0: none.
  char key = 0;
  bool controlOptionCommand = false;  ///< all three modifiers; else Command alone
  bool enabled = true;
  bool checked = false;
  std::function<void()> action;  ///< empty for headers, separators and submenus
  std::vector<StatusMenuItem> submenu;
};

enum class StatusDot { grey, orange, green, red };

/// The status menu as plain data, built anew each time it opens; any toolkit can show it. Actions
/// run on the main queue and stay safe to call when what they name has gone.
struct StatusMenu {
  struct Header {
    std::string status;
    StatusDot dot = StatusDot::grey;
  };
  Header header;
  std::vector<StatusMenuItem> items;
};

}  // namespace tessaline
