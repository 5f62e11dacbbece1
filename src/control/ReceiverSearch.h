#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Queue.h"
#include "platform/Network.h"
#include "platform/ServiceDiscovery.h"

namespace tessaline {

/// Finds the computers that lend their screen, and finds out whether the system's privacy rules let
/// this application reach them: it tries one of them until a try succeeds. Lives on the main queue;
/// owned by the controller.
class ReceiverSearch {
 public:
  using Receivers = std::map<std::string, platform::ServiceEndpoint>;

  ReceiverSearch(platform::ServiceDiscovery& discovery, platform::Network& network,
                 std::shared_ptr<Queue> main);

  /// One of the values below has changed.
  std::function<void()> onChange;
  /// Discovery has told what is there now, changed or not; after `onChange`.
  std::function<void()> onResults;

  void start();

  /// By the names under which they advertise themselves.
  [[nodiscard]] const Receivers& receivers() const { return receivers_; }
  [[nodiscard]] bool browsing() const { return browsing_; }
  [[nodiscard]] bool localNetworkDenied() const { return denied_; }
  [[nodiscard]] bool localNetworkOK() const { return ok_; }

  /// A stream runs: the screens can be reached.
  void noteReached();
  /// A connection was blocked.
  void noteDenied();

 private:
  void found(const std::vector<platform::ServiceEndpoint>& services);
  void stateChanged(platform::ServiceBrowser::State state, std::optional<int> error);
  void probeLocalNetwork();
  void probed(platform::Reachability reachability);
  void changed();

  platform::ServiceDiscovery& discovery_;
  platform::Network& network_;
  const std::shared_ptr<Queue> main_;
  Receivers receivers_;
  bool browsing_ = false;
  bool denied_ = false;
  bool ok_ = false;
  std::unique_ptr<platform::ServiceBrowser> browser_;
  std::unique_ptr<platform::ReachabilityProbe> probe_;  // the one in flight
  Timer probeTimer_;
};

}  // namespace tessaline
