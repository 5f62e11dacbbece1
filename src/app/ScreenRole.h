#pragma once

#include <memory>
#include <string>

#include "app/AppDelegate.h"
#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/Network.h"
#include "platform/ServiceDiscovery.h"
#include "platform/VideoDecoding.h"
#include "platform/Workspace.h"
#include "receiver/ScreenController.h"

namespace tessaline {

/// The screen role as the delegate runs it: the controller, and the parts of the system that it
/// works with, which outlive it. Lives on the main queue; owned by the delegate.
class ScreenRole final : public AppDelegate::Role {
 public:
  struct System {
    std::shared_ptr<platform::ServiceDiscovery> discovery;
    std::unique_ptr<platform::Network> network;
    std::unique_ptr<platform::VideoDecoding> decoding;
    std::unique_ptr<ScreenController::Windows> windows;
  };

  ScreenRole(Queues& queues, UserDefaults& defaults, platform::Workspace& workspace, System system,
             bool mainModeSupported);

  void start() override { controller_.start(); }
  void reopen() override { controller_.reopen(); }
  void quit(std::function<void()> done) override { controller_.quit(std::move(done)); }

  [[nodiscard]] ScreenController& controller() { return controller_; }

 private:
  const System system_;
  ScreenController controller_;
};

}  // namespace tessaline
