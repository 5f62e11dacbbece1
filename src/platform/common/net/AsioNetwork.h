#pragma once

#include <memory>

#include "platform/Network.h"
#include "platform/ServiceDiscovery.h"

namespace tessaline::platform {

/// The network over Boost.Asio and Beast. The queues given to it must be AsioQueues. Its operations
/// are callable from any thread; it may be destroyed before the connections that it made.
/// `discovery` finds the services that are connected to; without one there are none.
[[nodiscard]] std::unique_ptr<Network> createNetwork(
    std::shared_ptr<ServiceDiscovery> discovery = nullptr);

}  // namespace tessaline::platform
