#pragma once

#include <memory>
#include <utility>

#include "base/Queue.h"

namespace tessaline::platform {

/// What the owners of a connection hold. Operations under way keep the connection itself alive;
/// when the last owner has gone, `letGo` tells it so and takes back its queue, which would
/// otherwise close a circle through the operations waiting in the queue's own context.
template <typename Interface, typename T>
[[nodiscard]] std::shared_ptr<Interface> makeConnectionHandle(std::shared_ptr<T> connection) {
  T* const raw = connection.get();
  return std::shared_ptr<Interface>(raw, [connection = std::move(connection)](Interface*) mutable {
    // The queue's context has to outlive the connection.
    const std::shared_ptr<Queue> queue = connection->letGo();
    connection.reset();
  });
}

}  // namespace tessaline::platform
