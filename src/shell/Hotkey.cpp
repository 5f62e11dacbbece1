#include "shell/Hotkey.h"

namespace tessaline {

void Hotkey::registerAction(platform::DesktopEnvironment& desktop, std::function<void()> action) {
  action_ = std::move(action);
  if (registration_) return;
  // The registration ends with this object, and no action runs after it.
  registration_ = desktop.registerHotKey(
      {.key = 'S', .control = true, .option = true, .command = true}, [this] {
        if (const auto run = action_) run();  // it may replace itself
      });
}

}  // namespace tessaline
