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
    explicit Port(std::shared_ptr<bool> open) : listening(std::move(open)) { *listening = true; }
    ~Port() override { *listening = false; }
    std::uint16_t port() const override { return 7791; }
    const std::shared_ptr<bool> listening;  // a listener may outlive its network
  };
  Accept<platform::WebSocketConnection> accept;
  QueueMaker queues;
  std::shared_ptr<Queue> listenerQueue;
  const std::shared_ptr<bool> listening = std::make_shared<bool>(false);
  std::shared_ptr<const platform::TransportIdentity> identity;  // of the last listener

  Result<std::unique_ptr<platform::Listener>> listenWebSocket(
      const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
      QueueMaker maker, Accept<platform::WebSocketConnection> deliver) override {
    if (*listening) return Failure{"port 7791: address already in use"};
    identity = parameters.identity;
    accept = std::move(deliver);
    queues = std::move(maker);
    listenerQueue = std::move(queue);
    return std::unique_ptr<platform::Listener>(std::make_unique<Port>(listening));
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
