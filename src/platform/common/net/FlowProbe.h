#pragma once

#include <functional>
#include <memory>

#include "platform/Network.h"
#include "platform/ServiceDiscovery.h"

namespace tessaline::platform {

/// Whether a UDP flow to a service can be opened. Lives on the queue given when it was made, owned
/// by whoever asks.
class FlowProbe final : public ReachabilityProbe {
 public:
  using Done = std::function<void(Reachability)>;

  /// `limit` is how long the service may take to be found.
  static std::unique_ptr<ReachabilityProbe> start(
      const std::shared_ptr<ServiceDiscovery>& discovery, const ServiceEndpoint& service,
      Duration limit, const std::shared_ptr<Queue>& queue, Done done);

 private:
  explicit FlowProbe(std::shared_ptr<Done> done) : done_(std::move(done)) {}

  const std::shared_ptr<Done> done_;  // the answer holds it weakly
};

}  // namespace tessaline::platform
