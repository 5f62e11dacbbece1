#pragma once

#include <string_view>

#include "platform/Workspace.h"

namespace tessaline {

/// Whether the application starts when the user logs in. Main queue.
struct LoginItem {
  /// What the system knows the entry by.
  static constexpr std::string_view label = "app.tessaline";

  /// True exactly when there is an entry; nobody looks into it.
  [[nodiscard]] static bool enabled(const platform::Workspace& workspace) {
    return workspace.opensAtLogin(label);
  }
  static void set(platform::Workspace& workspace, bool on) { workspace.setOpensAtLogin(label, on); }
};

}  // namespace tessaline
