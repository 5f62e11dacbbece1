#pragma once

#include <memory>

#include "base/UserDefaults.h"
#include "platform/Workspace.h"

namespace tessaline {

/// Keeps this computer and its screen awake while the user wants that: the "keepAwake" setting,
/// which is on unless it says otherwise. One per process, on the main queue; the computer may sleep
/// again when it ends.
class KeepAwake {
 public:
  KeepAwake(platform::Workspace& workspace, UserDefaults& defaults);

  [[nodiscard]] bool preferred() const;
  /// Stores the setting and applies it.
  void setPreferred(bool preferred);
  /// Begins or ends the activity as the setting says; there is never more than one.
  void apply();

 private:
  platform::Workspace& workspace_;
  UserDefaults& defaults_;
  std::unique_ptr<platform::Activity> activity_;
};

}  // namespace tessaline
