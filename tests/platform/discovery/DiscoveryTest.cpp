#include <gmock/gmock.h>

#include <csignal>
#include <map>
#include <set>

#include "PrivateNetwork.h"
#include "base/AsioQueue.h"
#include "platform/common/net/AsioNetwork.h"
#include "platform/linux/discovery/AvahiDiscovery.h"
#include "platform/linux/discovery/ServiceNames.h"
#include "support/Eventually.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;
using test::PrivateNetwork;
using testing::Contains;
using testing::Each;
using testing::Field;
using testing::IsEmpty;
using testing::Matches;
using testing::Not;
using State = ServiceBrowser::State;
using Names = std::multiset<std::string>;

constexpr auto kPatience = 30s;
constexpr const char* kType = "_tessaline._tcp";

/// Real discovery through a daemon of the test's own.
class Discovery : public testing::Test {
 protected:
  void SetUp() override {
    if (network_.missing()) GTEST_SKIP() << "no private network: " << *network_.missing();
    network_.startBus();
    queues_.emplace();
    queue_ = queues_->serial("test");
  }
  void begin() {
    discovery_ = createDiscovery(*queues_);
    browser_ = discovery_->browse(
        kType, queue_,
        {[this](std::vector<ServiceEndpoint> services) { services_ = std::move(services); },
         [this](State state, std::optional<int>) { state_ = state; }});
  }
  void TearDown() override {
    if (queue_) queue_->sync([this] { browser_.reset(); });
  }
  /// Looks at what the callbacks have said, on their queue.
  bool wait(const std::function<bool()>& condition) {
    return test::eventually([&] {
      bool is = false;
      queue_->sync([&] { is = condition(); });
      return is;
    });
  }
  Names seen() const {
    Names names;
    for (const auto& service : services_) names.insert(service.name);
    return names;
  }
  bool sees(const Names& names, State state = State::ready) {
    const bool reached = wait([&] { return state_ == state && seen() == names; });
    EXPECT_THAT(seen(), testing::ContainerEq(names));
    return reached;
  }
  std::vector<Endpoint> resolve(const ServiceEndpoint& service, Duration limit = 10s) {
    std::optional<std::vector<Endpoint>> found;
    discovery_->resolve(service, limit, queue_,
                        [&](std::vector<Endpoint> endpoints) { found = std::move(endpoints); });
    EXPECT_TRUE(wait([&] { return found.has_value(); }));
    return found.value_or(std::vector<Endpoint>{});
  }

  PrivateNetwork network_;  // first: it wants a process without threads
  std::optional<AsioQueues> queues_;
  std::shared_ptr<Queue> queue_;
  std::vector<ServiceEndpoint> services_;
  std::optional<State> state_;
  std::shared_ptr<ServiceDiscovery> discovery_;
  std::unique_ptr<ServiceBrowser> browser_;
};

TEST_F(Discovery, FindsAndResolvesServicesWhateverTheirNamesAndReachesThemByScope) {
  network_.startDaemon();
  begin();
  const auto net = createNetwork(discovery_);
  std::string lengthy;
  for (int i = 0; i < 40; ++i) lengthy += "é";

  bool reached = false;
  auto listener = net->listen({}, queue_, [&](const auto&) { reached = true; });
  ASSERT_TRUE(listener) << listener.error();
  std::vector<std::unique_ptr<ServiceAdvertisement>> advertised;
  std::map<std::string, std::uint16_t> ports;  // by the names that others see
  std::uint16_t port = (*listener)->port();
  for (const std::string& name :
       {std::string("Mac"), std::string("Anna's \"Büro\" 2.0 \\ März"),
        std::string("显示器 🖥"), lengthy, std::string("half \xE2\n"), std::string("Mac")}) {
    advertised.push_back(discovery_->advertise(name, kType, port));
    ports[ports.contains(name) ? name + " #2" : fitServiceName(name)] = port++;
  }
  // Each is on two interfaces and in two protocols, and is one.
  Names names;
  for (const auto& [name, its] : ports) names.insert(name);
  ASSERT_TRUE(sees(names));

  for (const auto& service : std::vector(services_)) {
    EXPECT_THAT(resolve(service), Contains(AllOf(Field(&Endpoint::host, "10.77.0.1"),
                                                 Field(&Endpoint::port, ports[service.name]))));
  }
  EXPECT_TRUE(resolve({"nobody", kType, "local"}, 500ms).empty());
  advertised.pop_back();
  names.erase("Mac #2");
  ASSERT_TRUE(sees(names));

  // Interfaces go until only addresses are left that need their interface named.
  ASSERT_TRUE(PrivateNetwork::ip("link set lo multicast off down"));
  ASSERT_TRUE(PrivateNetwork::ip("addr del 10.77.0.1/24 dev cable0"));
  ASSERT_TRUE(sees(names));
  const auto scoped =
      AllOf(Not(IsEmpty()), Each(Field(&Endpoint::host, testing::HasSubstr("%cable"))));
  std::vector<Endpoint> endpoints;
  const auto limit = Clock::now() + kPatience;
  do {
    endpoints = resolve({"Mac", kType, "local"});
  } while (Clock::now() < limit && !Matches(scoped)(endpoints));
  EXPECT_THAT(endpoints, scoped);
  const auto connection = net->connect({"Mac", kType, "local"}, queue_);
  queue_->sync([&] { connection->start([](ConnectionState) {}); });
  EXPECT_TRUE(wait([&] { return reached; }));
}

TEST_F(Discovery, OutlivesTheDaemonAndTheBus) {
  begin();
  const auto advertised = discovery_->advertise("Studio", kType, 7777);
  EXPECT_TRUE(sees({}, State::waiting));
  network_.startDaemon();
  ASSERT_TRUE(sees({"Studio"}));

  network_.killBus();
  EXPECT_TRUE(sees({}, State::waiting));
  network_.killDaemon();
  network_.startBus();
  network_.startDaemon();
  ASSERT_TRUE(sees({"Studio"}));

  // A daemon that hangs costs neither the asker nor the end more than their limits.
  network_.daemon().signal(SIGSTOP);
  const auto start = Clock::now();
  EXPECT_TRUE(resolve({"Studio", kType, "local"}, 200ms).empty());
  queue_->sync([this] { browser_.reset(); });
  discovery_.reset();
  EXPECT_LT(Clock::now() - start, 10s);
}

}  // namespace
}  // namespace tessaline::platform
