#pragma once

#include <string>

#include "base/Result.h"

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
};

}  // namespace tessaline::platform
