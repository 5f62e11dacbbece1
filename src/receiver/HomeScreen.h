#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tessaline {

/// The home window of the screen role as plain data, top to bottom; any toolkit can show it. The
/// controller makes it anew whenever something in it changes. Actions run on the main queue.
struct HomeScreen {
  struct CheckBox {
    std::string title;
    bool on = false;
    std::function<void(bool)> set;
  };
  /// How to make this computer the main one instead.
  struct SwitchRole {
    std::string question;
    std::string button;
    std::function<void()> action;
  };
  struct Step {
    std::string title;
    std::string text;
  };

  std::string title;  ///< in the branded header, with `line` below it
  std::string line;
  std::string status;  ///< coral, beside a pulsing dot
  CheckBox openAtLogin;
  CheckBox keepAwake;
  std::string address;                   ///< small; empty while this computer has none
  std::optional<SwitchRole> switchRole;  ///< nothing where this computer cannot be the main one
  std::vector<Step> steps;               ///< numbered from 1
};

}  // namespace tessaline
