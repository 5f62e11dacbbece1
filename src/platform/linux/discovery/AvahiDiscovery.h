#pragma once

#include <memory>

#include "base/Queue.h"
#include "platform/ServiceDiscovery.h"

namespace tessaline::platform {

/// Discovery through the machine's Avahi daemon, on a thread of its own of `queues`,
/// "tessaline.discovery", so that a slow daemon keeps nobody else waiting. It survives the daemon
/// and the system's D-Bus going away and coming back. Destroying it withdraws what it advertises.
[[nodiscard]] std::shared_ptr<ServiceDiscovery> createDiscovery(Queues& queues);

}  // namespace tessaline::platform
