#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tessaline {

/// The setup assistant as plain data: what its window shows now. The controller builds it anew on
/// every change and once a second while the window is open. Actions run on the main queue.
struct SetupAssistant {
  struct Button {
    std::string title;
    std::function<void()> action;
  };
  struct Step {
    std::string title;
    std::string text;
    bool done = false;
    bool busy = false;  ///< something is being found out
    /// At most one for most steps; one for each screen that can be started on.
    std::vector<Button> buttons;
  };
  std::string title;
  std::string line;  ///< under the title
  std::vector<Step> steps;
  std::string openAtLoginTitle;
  bool opensAtLogin = false;
  std::function<void(bool)> setOpensAtLogin;
  std::string switchQuestion;  ///< the panel that gives up the main role
  Button switchRole;
  Button done;
};

}  // namespace tessaline
