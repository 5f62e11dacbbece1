#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/FakeConnection.h"
#include "support/VirtualQueues.h"

namespace tessaline::test {

/// A network without wires: it hands out what the test prepared, and the test is whoever connects.
class FakeNetwork : public platform::Network {
 public:
  using Made = Result<std::unique_ptr<platform::Listener>>;

  struct Port final : platform::Listener {
    explicit Port(std::uint16_t wanted) : number(wanted) {}
    std::uint16_t port() const override { return number; }
    const std::uint16_t number;
  };
  std::optional<std::string> address = "192.0.2.1";
  std::shared_ptr<platform::Connection> nextConnection;
  std::vector<platform::ServiceEndpoint> connectedTo;
  DatagramHandler datagramHandler;
  int probes = 0;
  std::function<void(platform::Reachability)> answerProbe;  // the newest one

  std::shared_ptr<Queue> streamQueue;
  Accept<platform::Connection> acceptStream;
  std::shared_ptr<Queue> browserQueue;
  QueueMaker browserQueues;
  Accept<platform::WebSocketConnection> acceptBrowser;

  /// Another computer connects.
  std::shared_ptr<FakeConnection> arrive() {
    auto connection = std::make_shared<FakeConnection>(streamQueue);
    streamQueue->sync([&] { acceptStream(connection); });
    connection->report(platform::ConnectionState::ready);
    return connection;
  }
  /// A browser that has connected.
  std::shared_ptr<FakeWebSocket> browse(VirtualQueues& time) {
    auto socket = std::make_shared<FakeWebSocket>(browserQueues());
    browserQueue->sync([&] { acceptBrowser(socket); });
    time.run();
    socket->report(platform::ConnectionState::ready);
    return socket;
  }

  std::shared_ptr<platform::Connection> connect(const platform::Endpoint&,
                                                std::shared_ptr<Queue>) override {
    return nextConnection;
  }
  std::shared_ptr<platform::Connection> connect(const platform::ServiceEndpoint& service,
                                                std::shared_ptr<Queue>) override {
    connectedTo.push_back(service);
    return nextConnection;
  }
  Made listen(const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
              Accept<platform::Connection> accept) override {
    streamQueue = std::move(queue);
    acceptStream = std::move(accept);
    return Made(std::make_unique<Port>(parameters.port));
  }
  Made listenWebSocket(const platform::ListenerParameters& parameters, std::shared_ptr<Queue> queue,
                       QueueMaker maker, Accept<platform::WebSocketConnection> accept) override {
    browserQueue = std::move(queue);
    browserQueues = std::move(maker);
    acceptBrowser = std::move(accept);
    return Made(std::make_unique<Port>(parameters.port));
  }
  std::unique_ptr<platform::DatagramConnection> openDatagram(const platform::Endpoint&,
                                                             std::shared_ptr<Queue>) override {
    return nullptr;
  }
  Made listenDatagrams(std::uint16_t port, std::shared_ptr<Queue>,
                       DatagramHandler handler) override {
    datagramHandler = std::move(handler);
    return Made(std::make_unique<Port>(port));
  }
  std::unique_ptr<platform::ReachabilityProbe> probe(
      const platform::ServiceEndpoint&, std::shared_ptr<Queue>,
      std::function<void(platform::Reachability)> done) override {
    ++probes;
    answerProbe = std::move(done);
    return std::make_unique<platform::ReachabilityProbe>();
  }
  std::optional<std::string> localIPv4Address() override { return address; }
  void reverseName(const std::string&, Duration, std::shared_ptr<Queue>,
                   std::function<void(std::optional<std::string>)> done) override {
    done(std::nullopt);
  }
};

}  // namespace tessaline::test
