#include "platform/common/net/FlowProbe.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/common/net/UdpFlow.h"

namespace tessaline::platform {

std::unique_ptr<ReachabilityProbe> FlowProbe::start(
    const std::shared_ptr<ServiceDiscovery>& discovery, const ServiceEndpoint& service,
    Duration limit, const std::shared_ptr<Queue>& queue, Done done) {
  auto kept = std::make_shared<Done>(std::move(done));
  // Weak: the answer may wait on that queue.
  auto answer = [weak = std::weak_ptr(kept)](const std::vector<Endpoint>& endpoints) {
    const auto asked = weak.lock();
    if (!asked) return;
    const bool opened = std::any_of(endpoints.begin(), endpoints.end(), UdpFlow::canOpen);
    (*asked)(opened ? Reachability::ready : Reachability::failed);
  };
  if (discovery) {
    discovery->resolve(service, limit, queue, std::move(answer));
  } else {
    queue->async([answer = std::move(answer)] { answer({}); });
  }
  return std::unique_ptr<ReachabilityProbe>(new FlowProbe(std::move(kept)));
}

}  // namespace tessaline::platform
