#pragma once

#include <memory>
#include <utility>

#include "support/FakeConnection.h"
#include "support/FakePlatform.h"
#include "support/VirtualQueues.h"

namespace tessaline::test {

/// A network whose browsers are the test's.
class BrowserNetwork final : public FakeNetwork {
 public:
  struct Port final : platform::Listener {
    std::uint16_t port() const override { return 7791; }
  };
  Accept<platform::WebSocketConnection> accept;
  QueueMaker queues;
  std::shared_ptr<Queue> listenerQueue;

  Made listenWebSocket(const platform::ListenerParameters&, std::shared_ptr<Queue> queue,
                       QueueMaker maker, Accept<platform::WebSocketConnection> deliver) override {
    accept = std::move(deliver);
    queues = std::move(maker);
    listenerQueue = std::move(queue);
    return Made(std::make_unique<Port>());
  }

  /// A browser that has connected.
  std::shared_ptr<FakeWebSocket> browse(VirtualQueues& time) {
    auto socket = std::make_shared<FakeWebSocket>(queues());
    listenerQueue->sync([&] { accept(socket); });
    time.run();
    socket->report(platform::ConnectionState::ready);
    return socket;
  }
};

}  // namespace tessaline::test
