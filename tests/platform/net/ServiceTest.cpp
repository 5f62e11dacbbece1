#include <atomic>
#include <future>
#include <list>

#include "Loopback.h"
#include "support/Eventually.h"
#include "support/FakeDiscovery.h"

namespace tessaline::platform::test {
namespace {

using asio::ip::udp;
using tessaline::test::FakeDiscovery;
using namespace std::chrono_literals;

const ServiceEndpoint kScreen{"Anna's iMac", "_tessaline._tcp", "local"};

class ServiceTest : public Loopback {
 protected:
  static void send(std::uint16_t port, const Bytes& bytes, const char* address = "127.0.0.1") {
    asio::io_context context;
    const udp::endpoint peer(asio::ip::make_address(address), port);
    udp::socket socket(context, peer.protocol());
    socket.send_to(asio::buffer(bytes), peer);
  }
  std::unique_ptr<Listener> listenDatagrams(Network::DatagramHandler handler) {
    auto made = network_->listenDatagrams(0, queue_, std::move(handler));
    EXPECT_TRUE(made) << made.error();
    return made ? std::move(*made) : nullptr;
  }

  std::shared_ptr<Queue> queue_ = queues_.serial("datagrams");
  std::shared_ptr<FakeDiscovery> discovery_ = std::make_shared<FakeDiscovery>();
};

TEST_F(ServiceTest, DatagramsArriveWholeFromBothFamiliesUntilTheirListenerEnds) {
  std::optional<std::pair<std::string, std::size_t>> last;  // touched on the queue
  std::unique_ptr<Listener> listener;
  listener = listenDatagrams([&](const Endpoint& from, ByteView bytes) {
    last.emplace(from.host, bytes.size());
    if (bytes.size() == 3) listener.reset();
  });
  const auto port = listener->port();
  const auto listenAgain = [&] {
    return network_->listenDatagrams(port, queue_, [](const Endpoint&, ByteView) {});
  };
  EXPECT_EQ(listenAgain().error(), "port " + std::to_string(port) + ": address already in use");

  const auto arrived = [&](const char* from, std::size_t size) {
    send(port, Bytes(size), from);
    return tessaline::test::eventually([&] {
      bool there = false;
      queue_->sync([&] { there = last == std::pair(std::string(from), size); });
      return there;
    });
  };
  EXPECT_TRUE(arrived("::1", 0));
  EXPECT_TRUE(arrived("127.0.0.1", 60'000));
  EXPECT_TRUE(arrived("127.0.0.1", 3));
  EXPECT_TRUE(listenAgain());
}

TEST_F(ServiceTest, AFloodOfDatagramsLeavesOtherWorkItsTurns) {
  constexpr int kFlood = 200;  // about as many as the system holds for a socket
  std::atomic<int> count = 0;
  const auto listener = listenDatagrams([&](const Endpoint&, ByteView) { ++count; });
  std::promise<void> release;
  queue_->async([gate = release.get_future().share()] { gate.wait(); });
  for (int i = 0; i < kFlood; ++i) send(listener->port(), Bytes(8));
  std::this_thread::sleep_for(kMoment);  // until the datagrams stand in the queue's line
  std::promise<int> before;
  queue_->async([&] { before.set_value(count); });
  release.set_value();
  EXPECT_LT(before.get_future().get(), kFlood / 2);
}

TEST_F(ServiceTest, AServiceIsReachedAtItsLastAddressWithinALinksTime) {
  const auto listener = listen();
  // A port whose backlog is full answers nothing, like an address behind a firewall.
  std::list<tcp::acceptor> silent;
  std::list<tcp::socket> waiting;
  for (const char* address : {"127.0.0.2", "127.0.0.3", "127.0.0.4"}) {
    auto& acceptor = silent.emplace_back(context_);
    acceptor.open(tcp::v4());
    acceptor.bind({asio::ip::make_address(address), 0});
    acceptor.listen(0);
    for (int i = 0; i < 4; ++i) {
      auto& socket = waiting.emplace_back(context_);
      socket.async_connect(acceptor.local_endpoint(), [](const error_code&) {});
    }
    discovery_->addresses[kScreen.name].push_back({address, acceptor.local_endpoint().port()});
  }
  discovery_->addresses[kScreen.name].push_back({"fe80::1%nowhere", listener->port()});
  discovery_->addresses[kScreen.name].push_back({"127.0.0.1", listener->port()});

  const auto network = createNetwork(discovery_);
  auto owner = std::make_shared<Owner<Connection>>();
  owner->connection = network->connect(kScreen, queue_);
  owner->start();
  const auto ready = [&] {
    return !owner->states.empty() && owner->states.back() == ConnectionState::ready;
  };
  EXPECT_TRUE(owner->wait(ready, 5s));
  auto nobody = std::make_shared<Owner<Connection>>();
  nobody->connection = network->connect(ServiceEndpoint{"gone", kScreen.type, "local"}, queue_);
  nobody->start();
  EXPECT_TRUE(nobody->reached(ConnectionState::waiting));
}

}  // namespace
}  // namespace tessaline::platform::test
