#include "platform/common/net/AsioNetwork.h"

#include <utility>

#include "platform/common/net/LocalAddress.h"
#include "platform/common/net/ReverseName.h"
#include "platform/common/net/TcpConnection.h"
#include "platform/common/net/TcpListener.h"
#include "platform/common/net/UdpFlow.h"
#include "platform/common/net/WebSocketServerConnection.h"

namespace tessaline::platform {
namespace {

using boost::asio::ip::tcp;

/// Serving plain TCP to a caller that asked for TLS would be worse than not serving.
Result<std::unique_ptr<Listener>> listenPlain(const ListenerParameters& parameters,
                                              std::shared_ptr<Queue> queue,
                                              TcpListener::Callbacks callbacks) {
  if (parameters.identity) {
    return Failure{"port " + std::to_string(parameters.port) + ": TLS is not available"};
  }
  return TcpListener::listen(parameters.port, std::move(queue), std::move(callbacks));
}

class AsioNetwork final : public Network {
 public:
  std::shared_ptr<Connection> connect(const Endpoint& endpoint,
                                      std::shared_ptr<Queue> queue) override {
    return TcpConnection::dial(endpoint, std::move(queue));
  }

  Result<std::unique_ptr<Listener>> listen(const ListenerParameters& parameters,
                                           std::shared_ptr<Queue> queue,
                                           Accept<Connection> accept) override {
    // Weak: the listener itself keeps its queue.
    auto same = [weak = std::weak_ptr(queue)] { return weak.lock(); };
    return listenPlain(parameters, std::move(queue),
                       {std::move(same), [accept = std::move(accept)](tcp::socket socket,
                                                                      std::shared_ptr<Queue> home) {
                          accept(TcpConnection::accepted(std::move(socket), std::move(home)));
                        }});
  }

  Result<std::unique_ptr<Listener>> listenWebSocket(const ListenerParameters& parameters,
                                                    std::shared_ptr<Queue> queue, QueueMaker queues,
                                                    Accept<WebSocketConnection> accept) override {
    return listenPlain(
        parameters, std::move(queue),
        {std::move(queues),
         [accept = std::move(accept)](tcp::socket socket, std::shared_ptr<Queue> home) {
           accept(WebSocketServerConnection::accepted(std::move(socket), std::move(home)));
         }});
  }

  std::unique_ptr<DatagramConnection> openDatagram(const Endpoint& endpoint,
                                                   std::shared_ptr<Queue> queue) override {
    return UdpFlow::open(endpoint, std::move(queue));
  }

  std::optional<std::string> localIPv4Address() override { return findLocalIPv4Address(); }

  void reverseName(const std::string& address, Duration limit, std::shared_ptr<Queue> queue,
                   std::function<void(std::optional<std::string>)> done) override {
    reverseName_.find(address, limit, queue, std::move(done));
  }

 private:
  ReverseName reverseName_;
};

}  // namespace

std::unique_ptr<Network> createNetwork() {
  return std::make_unique<AsioNetwork>();
}

}  // namespace tessaline::platform
