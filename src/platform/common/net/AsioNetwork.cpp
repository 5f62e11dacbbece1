#include "platform/common/net/AsioNetwork.h"

#include <cassert>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/FlowProbe.h"
#include "platform/common/net/LocalAddress.h"
#include "platform/common/net/ReverseName.h"
#include "platform/common/net/TcpConnection.h"
#include "platform/common/net/TcpListener.h"
#include "platform/common/net/UdpFlow.h"
#include "platform/common/net/UdpListener.h"
#include "platform/common/net/WebSocketServerConnection.h"

namespace tessaline::platform {
namespace {

using boost::asio::ip::tcp;

// How long a service may take to be found: most of a link's five seconds stay for its addresses.
constexpr auto kServiceLimit = std::chrono::milliseconds(1500);

/// Every identity is one of ours (`createTransportSecurity`).
std::shared_ptr<const TlsIdentity> identityOf(const ListenerParameters& parameters) {
  auto identity = std::dynamic_pointer_cast<const TlsIdentity>(parameters.identity);
  assert(!parameters.identity == !identity && "an identity of another library");
  return identity;
}

class AsioNetwork final : public Network {
 public:
  explicit AsioNetwork(std::shared_ptr<ServiceDiscovery> discovery)
      : discovery_(std::move(discovery)) {}

  std::shared_ptr<Connection> connect(const Endpoint& endpoint,
                                      std::shared_ptr<Queue> queue) override {
    auto dialer = Dialer::toHost(AsioQueue::executorOf(*queue), endpoint);
    return TcpConnection::dial(std::move(dialer), std::move(queue));
  }

  std::shared_ptr<Connection> connect(const ServiceEndpoint& service,
                                      std::shared_ptr<Queue> queue) override {
    const auto executor = AsioQueue::executorOf(*queue);
    // Weak: the connection owns the dialer and keeps its queue itself.
    auto lookUp = [discovery = discovery_, service, weak = std::weak_ptr(queue)](auto done) {
      const auto home = weak.lock();
      if (discovery && home) {
        discovery->resolve(service, kServiceLimit, home, std::move(done));
      } else {
        done({});
      }
    };
    return TcpConnection::dial(std::make_shared<Dialer>(executor, std::move(lookUp)),
                               std::move(queue));
  }

  Result<std::unique_ptr<Listener>> listen(const ListenerParameters& parameters,
                                           std::shared_ptr<Queue> queue,
                                           Accept<Connection> accept) override {
    // Weak: the listener itself keeps its queue.
    auto same = [weak = std::weak_ptr(queue)] { return weak.lock(); };
    return TcpListener::listen(
        parameters, std::move(queue),
        {std::move(same), [accept = std::move(accept), identity = identityOf(parameters)](
                              tcp::socket socket, std::shared_ptr<Queue> home) {
           accept(TcpConnection::accepted(std::move(socket), std::move(home), identity));
         }});
  }

  Result<std::unique_ptr<Listener>> listenWebSocket(const ListenerParameters& parameters,
                                                    std::shared_ptr<Queue> queue, QueueMaker queues,
                                                    Accept<WebSocketConnection> accept) override {
    return TcpListener::listen(
        parameters, std::move(queue),
        {std::move(queues), [accept = std::move(accept), identity = identityOf(parameters)](
                                tcp::socket socket, std::shared_ptr<Queue> home) {
           accept(
               WebSocketServerConnection::accepted(std::move(socket), std::move(home), identity));
         }});
  }

  std::unique_ptr<DatagramConnection> openDatagram(const Endpoint& endpoint,
                                                   std::shared_ptr<Queue> queue) override {
    return UdpFlow::open(endpoint, std::move(queue));
  }

  Result<std::unique_ptr<Listener>> listenDatagrams(std::uint16_t port,
                                                    std::shared_ptr<Queue> queue,
                                                    DatagramHandler handler) override {
    return UdpListener::listen(port, std::move(queue), std::move(handler));
  }

  std::unique_ptr<ReachabilityProbe> probe(const ServiceEndpoint& service,
                                           std::shared_ptr<Queue> queue,
                                           std::function<void(Reachability)> done) override {
    return FlowProbe::start(discovery_, service, kServiceLimit, std::move(queue), std::move(done));
  }

  std::optional<std::string> localIPv4Address() override { return findLocalIPv4Address(); }

  void reverseName(const std::string& address, Duration limit, std::shared_ptr<Queue> queue,
                   std::function<void(std::optional<std::string>)> done) override {
    reverseName_.find(address, limit, queue, std::move(done));
  }

 private:
  const std::shared_ptr<ServiceDiscovery> discovery_;
  ReverseName reverseName_;
};

}  // namespace

std::unique_ptr<Network> createNetwork(std::shared_ptr<ServiceDiscovery> discovery) {
  return std::make_unique<AsioNetwork>(std::move(discovery));
}

}  // namespace tessaline::platform
