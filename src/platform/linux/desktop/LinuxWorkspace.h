#pragma once

#include <filesystem>
#include <string>

#include "platform/Workspace.h"
#include "platform/linux/desktop/LoginPortal.h"
#include "platform/linux/desktop/SleepInhibitor.h"

namespace tessaline::platform {

/// What a Linux desktop does for the application: xdg-open for links, this application's own file
/// started again now or at each login (an XDG autostart entry, or the portal), and inhibitions
/// against sleep. Make one right at the start of the process: an upgrade that replaces the file
/// later makes its path unreadable. Main queue.
class LinuxWorkspace final : public Workspace {
 public:
  LinuxWorkspace();
  bool open(const std::string& url) override;
  bool relaunch() override;
  [[nodiscard]] std::string computerName() const override;
  [[nodiscard]] bool opensAtLogin(std::string_view label) const override;
  void setOpensAtLogin(std::string_view label, bool on) override;
  [[nodiscard]] std::unique_ptr<Activity> beginActivity(ActivityOptions options,
                                                        const std::string& reason) override;

  /// True when an earlier instance started this one by `relaunch`; it may still hold the instance
  /// lock. Answers once: programs that this process starts in turn are not successors.
  [[nodiscard]] static bool takeSuccession();

 private:
  const std::string executable_;
  SleepInhibitor inhibitor_;
  LoginPortal loginPortal_;  // in a sandbox
};

}  // namespace tessaline::platform
