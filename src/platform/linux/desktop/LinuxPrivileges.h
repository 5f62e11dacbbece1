#pragma once

#include "platform/ScreenCaptureAccess.h"
#include "platform/SystemCommands.h"

namespace tessaline::platform {

/// Linux has no radio link that its neighbours share with the Wi-Fi: nothing is there, nothing is
/// installed, and nothing ever runs.
class LinuxSystemCommands final : public SystemCommands {
 public:
  std::optional<unsigned> interfaceFlags(const std::string&) override { return std::nullopt; }
  bool fileExists(const std::string&) override { return false; }
  std::string userName() override { return {}; }
  void run(const std::string&, const std::vector<std::string>&) override {}
  bool runScript(const std::string&) override { return false; }
};

/// For desktops that let every program of the user capture, so that there is nobody to ask.
class FreeCaptureAccess final : public ScreenCaptureAccess {
 public:
  bool granted() override { return true; }
  void request() override {}
  std::unique_ptr<Trial> tryCapture() override { return nullptr; }
  void revealApplication() override {}
};

}  // namespace tessaline::platform
