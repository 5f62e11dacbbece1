#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/Network.h"
#include "platform/common/net/AsioNetwork.h"

namespace tessaline::test {

/// The real network, but on free ports: those of the protocol may be in use. No name service is
/// asked.
class FreePorts final : public platform::Network {
 public:
  std::atomic<std::uint16_t> streamPort = 0;
  std::atomic<std::uint16_t> datagramPort = 0;
  std::atomic<std::uint16_t> webSocketPort = 0;

  std::shared_ptr<platform::Connection> connect(const platform::Endpoint& endpoint,
                                                std::shared_ptr<Queue> queue) override {
    return real_->connect(endpoint, std::move(queue));
  }
  std::shared_ptr<platform::Connection> connect(const platform::ServiceEndpoint& service,
                                                std::shared_ptr<Queue> queue) override {
    return real_->connect(service, std::move(queue));
  }
  Result<std::unique_ptr<platform::Listener>> listen(const platform::ListenerParameters& parameters,
                                                     std::shared_ptr<Queue> queue,
                                                     Accept<platform::Connection> accept) override {
    auto free = parameters;
    free.port = 0;
    auto made = real_->listen(free, std::move(queue), std::move(accept));
    if (made) streamPort = (*made)->port();
    return made;
  }
  Result<std::unique_ptr<platform::Listener>> listenWebSocket(
      const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
      QueueMaker maker, Accept<platform::WebSocketConnection> accept) override {
    auto free = parameters;
    free.port = 0;
    auto made = real_->listenWebSocket(free, std::move(queue), std::move(maker), std::move(accept));
    if (made) webSocketPort = (*made)->port();
    return made;
  }
  std::unique_ptr<platform::DatagramConnection> openDatagram(
      const platform::Endpoint& endpoint, std::shared_ptr<Queue> queue) override {
    return real_->openDatagram(endpoint, std::move(queue));
  }
  Result<std::unique_ptr<platform::Listener>> listenDatagrams(std::uint16_t,
                                                              std::shared_ptr<Queue> queue,
                                                              DatagramHandler handler) override {
    auto made = real_->listenDatagrams(0, std::move(queue), std::move(handler));
    if (made) datagramPort = (*made)->port();
    return made;
  }
  std::unique_ptr<platform::ReachabilityProbe> probe(
      const platform::ServiceEndpoint& service, std::shared_ptr<Queue> queue,
      std::function<void(platform::Reachability)> done) override {
    return real_->probe(service, std::move(queue), std::move(done));
  }
  std::optional<std::string> localIPv4Address() override { return "192.0.2.7"; }
  void reverseName(const std::string&, Duration, std::shared_ptr<Queue> queue,
                   std::function<void(std::optional<std::string>)> done) override {
    queue->async([done = std::move(done)] { done(std::nullopt); });
  }

 private:
  const std::unique_ptr<platform::Network> real_ = platform::createNetwork(nullptr);
};

}  // namespace tessaline::test
