#include <atomic>
#include <future>
#include <list>

#include "Loopback.h"
#include "support/FakeDiscovery.h"

namespace tessaline::platform::test {
namespace {

using asio::ip::udp;
using tessaline::test::FakeDiscovery;
using namespace std::chrono_literals;

const ServiceEndpoint kScreen{"Anna's iMac", "_tessaline._tcp", "local"};

class ServiceTest : public Loopback {
 protected:
  std::shared_ptr<Queue> queue_ = queues_.serial("datagrams");
};

TEST_F(ServiceTest, AFloodOfDatagramsLeavesOtherWorkItsTurns) {
  constexpr int kFlood = 200;  // about as many as the system holds for a socket
  std::atomic<int> count = 0;
  auto listener = network_->listenDatagrams(0, queue_, [&](const Endpoint&, ByteView) { ++count; });
  ASSERT_TRUE(listener) << listener.error();
  std::promise<void> release;
  queue_->async([gate = release.get_future().share()] { gate.wait(); });
  udp::socket sender(context_, udp::v4());
  const udp::endpoint port(asio::ip::address_v4::loopback(), (*listener)->port());
  for (int i = 0; i < kFlood; ++i) sender.send_to(asio::buffer(Bytes(8)), port);
  std::this_thread::sleep_for(kMoment);  // until the datagrams stand in the queue's line
  std::promise<int> before;
  queue_->async([&] { before.set_value(count); });
  release.set_value();
  EXPECT_LT(before.get_future().get(), kFlood / 2);
}

TEST_F(ServiceTest, AServiceIsReachedAtItsLastAddressWithinALinksTime) {
  const auto discovery = std::make_shared<FakeDiscovery>();
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
    discovery->addresses[kScreen.name].push_back({address, acceptor.local_endpoint().port()});
  }
  discovery->addresses[kScreen.name].push_back({"fe80::1%nowhere", listener->port()});
  discovery->addresses[kScreen.name].push_back({"127.0.0.1", listener->port()});

  const auto network = createNetwork(discovery);
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

  for (const auto& [name, expected] :
       {std::pair{kScreen.name.c_str(), Reachability::ready}, {"gone", Reachability::failed}}) {
    std::promise<Reachability> answer;
    const auto probe = network->probe({name, kScreen.type, "local"}, queue_,
                                      [&](auto told) { answer.set_value(told); });
    EXPECT_EQ(answer.get_future().get(), expected);
  }
}

}  // namespace
}  // namespace tessaline::platform::test
