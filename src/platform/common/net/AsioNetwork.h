#pragma once

#include <memory>

#include "platform/Network.h"

namespace tessaline::platform {

/// The network over Boost.Asio and Beast. The queues given to it must be AsioQueues. Its operations
/// are callable from any thread; it may be destroyed before the connections that it made.
[[nodiscard]] std::unique_ptr<Network> createNetwork();

}  // namespace tessaline::platform
