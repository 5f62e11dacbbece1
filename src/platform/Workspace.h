#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Result.h"
#include "platform/Activity.h"

namespace tessaline::platform {

/// What the application asks of the user's desktop about programs. Main queue; nothing blocks.
class Workspace {
 public:
  virtual ~Workspace() = default;
  /// Opens a link in the user's browser. False when nothing could be started.
  virtual bool open(const std::string& url) = 0;
  /// Starts the application once more, from its file as it is now, even when an upgrade has
  /// replaced it. The new process waits until this one has let go of the instance lock, so this one
  /// should end. False when it could not be started.
  virtual bool relaunch() = 0;

  /// What people call this computer; "Mac" when it has no name.
  [[nodiscard]] virtual std::string computerName() const = 0;

  /// Whether the system is told, under this label, to start the application when the user logs in.
  [[nodiscard]] virtual bool opensAtLogin(std::string_view label) const = 0;
  /// Failures leave things as they are: `opensAtLogin` says what is true.
  virtual void setOpensAtLogin(std::string_view label, bool on) = 0;

  /// Keeps the computer awake as `options` say. Never empty; `reason` is shown to people who ask
  /// the system why it does not sleep.
  [[nodiscard]] virtual std::unique_ptr<Activity> beginActivity(ActivityOptions options,
                                                                const std::string& reason) = 0;
};

}  // namespace tessaline::platform
