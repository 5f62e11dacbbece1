#pragma once

#include <string>

#include "platform/Workspace.h"

namespace tessaline::platform {

/// Starts programs on a Linux desktop: xdg-open for links, and this application's own file. Make
/// one right at the start of the process: an upgrade that replaces the file later makes its path
/// unreadable. Main queue.
class LinuxWorkspace final : public Workspace {
 public:
  LinuxWorkspace();
  bool open(const std::string& url) override;
  bool relaunch() override;

  /// True when an earlier instance started this one by `relaunch`; it may still hold the instance
  /// lock. Answers once: programs that this process starts in turn are not successors.
  [[nodiscard]] static bool takeSuccession();

 private:
  const std::string executable_;
};

}  // namespace tessaline::platform
