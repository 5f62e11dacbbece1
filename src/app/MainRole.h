#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "app/AppDelegate.h"
#include "app/ControlBus.h"
#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "control/Controller.h"
#include "platform/DesktopEnvironment.h"
#include "platform/Network.h"
#include "platform/VideoCoding.h"
#include "streaming/Arrangement.h"
#include "web/DirectCertificate.h"
#include "web/TouchInput.h"

namespace tessaline {

/// The main role as the delegate runs it and as the control bus steers it: the controller, and the
/// parts of the system that it works with, which outlive it. Lives on the main queue; owned by the
/// delegate.
class MainRole final : public AppDelegate::Role, public ControlBus::Main {
 public:
  struct System {
    std::unique_ptr<platform::DesktopEnvironment> desktop;
    std::unique_ptr<platform::VideoCoding> coding;
    std::shared_ptr<platform::ServiceDiscovery> discovery;
    std::unique_ptr<platform::Network> network;
    std::shared_ptr<platform::SystemCommands> commands;
    std::shared_ptr<platform::ProcessRunner> processes;
    std::shared_ptr<platform::HttpClient> http;
    std::shared_ptr<platform::TransportSecurity> security;
    std::filesystem::path support;  ///< the folder of keys and certificates
  };

  /// `workspace` and `windows` outlive the role.
  MainRole(Queues& queues, UserDefaults& defaults, System system, platform::Workspace& workspace,
           ControllerWindows& windows);

  /// The user started the application once more; beside the setup assistant, which opens.
  std::function<void()> onReopen;
  /// The user wants the application to end.
  std::function<void()> onTerminate;

  void start() override;
  void reopen() override;
  void quit(std::function<void()> done) override;

  [[nodiscard]] ControlBus::Service service() const override;
  [[nodiscard]] ApprovedDevices& approvedDevices() override {
    return controller_.approvedDevices();
  }
  [[nodiscard]] Result<std::string> startScreen(const std::string& name) override;
  void stopScreens() override;
  [[nodiscard]] int bitrate() const override { return controller_.bitrate(); }
  void setBitrate(int bitsPerSecond) override;

  [[nodiscard]] Controller& controller() { return controller_; }

 private:
  UserDefaults& defaults_;
  const System system_;
  TouchInput touch_;
  Arrangement arrangement_;
  DirectCertificate certificate_;
  mutable Controller controller_;  // its accessors are not const
};

}  // namespace tessaline
