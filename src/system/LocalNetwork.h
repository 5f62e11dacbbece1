#pragma once

#include "platform/Workspace.h"

namespace tessaline {

/// The permission to reach the local network. Nobody can be asked whether it is there: the
/// controller finds out by trying. Main queue.
struct LocalNetwork {
  /// Opens the page of the system's settings on which the user grants it.
  static void openSettings(platform::Workspace& workspace) {
    workspace.open("x-apple.systempreferences:com.apple.preference.security?Privacy_LocalNetwork");
  }
};

}  // namespace tessaline
