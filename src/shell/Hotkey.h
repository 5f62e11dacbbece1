#pragma once

#include <functional>
#include <memory>

#include "platform/DesktopEnvironment.h"

namespace tessaline {

/// The one global shortcut, Control-Option-Command-S. Main queue; the desktop must outlive it.
class Hotkey {
 public:
  /// Has `action` run on the main queue at each press; a later call replaces the action.
  void registerAction(platform::DesktopEnvironment& desktop, std::function<void()> action);

 private:
  std::function<void()> action_;
  std::unique_ptr<platform::HotKeyRegistration> registration_;
};

}  // namespace tessaline
