#include <gmock/gmock.h>

#include <atomic>
#include <future>

#include "Loopback.h"
#include "platform/common/net/LocalAddress.h"
#include "platform/common/net/ReverseName.h"

namespace tessaline::platform::test {
namespace {

using namespace std::chrono_literals;

class LookupTest : public Loopback {};

TEST_F(LookupTest, DatagramsArriveAndSurviveAnAbsentReader) {
  const auto queue = queues_.serial("cursor");
  EXPECT_FALSE(network_->openDatagram({"a.name", 7778}, queue));
  asio::ip::udp::socket reader(context_, {asio::ip::address_v4::loopback(), 0});
  const auto port = reader.local_endpoint().port();
  reader.close();
  const auto flow = network_->openDatagram({"127.0.0.1", port}, queue);
  ASSERT_TRUE(flow);
  queue->sync([&] { flow->send(viewBytes("nobody reads this")); });
  reader = asio::ip::udp::socket(context_, {asio::ip::address_v4::loopback(), port});
  // The refusal of the first datagram must not cost the second.
  queue->sync([&] { flow->send(viewBytes("pointer")); });
  Bytes buffer(100);
  buffer.resize(reader.receive(asio::buffer(buffer)));
  EXPECT_EQ(viewText(buffer), "pointer");
}

TEST_F(LookupTest, TheLocalAddressIsTheOneThatOthersReach) {
  const InterfaceAddress docker{"docker0", "172.17.0.1"};
  const InterfaceAddress wifi{"wlan0", "192.168.1.5"};
  const InterfaceAddress wired{"enp3s0", "10.0.0.4"};
  EXPECT_EQ(chooseLocalAddress({docker, wired, wifi}, "192.168.1.5"), "192.168.1.5");
  EXPECT_EQ(chooseLocalAddress({docker, wired, wifi}, std::nullopt), "10.0.0.4");
  EXPECT_EQ(chooseLocalAddress({docker, wifi}, "172.17.0.1"), "192.168.1.5");
  EXPECT_EQ(chooseLocalAddress({docker}, std::nullopt), "172.17.0.1");
  EXPECT_EQ(chooseLocalAddress({}, std::nullopt), std::nullopt);
}

TEST_F(LookupTest, ReverseNamesAreAnsweredOnceAndInTime) {
  std::promise<void> release;
  std::atomic<int> finished = 0;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> answers;
  ReverseName names([&, released = release.get_future().share()](const std::string& address) {
    if (address == "slow") released.wait();
    ++finished;
    return std::optional<std::string>(address + ".local");
  });
  const auto queue = queues_.serial("web");
  const auto find = [&](const std::string& address, Duration limit) {
    std::unique_lock lock(mutex);
    const auto wanted = answers.size() + 1;
    names.find(address, limit, queue, [&](const std::optional<std::string>& name) {
      const std::lock_guard answered(mutex);
      answers.push_back(name.value_or("none"));
      changed.notify_all();
    });
    EXPECT_TRUE(changed.wait_for(lock, kPatience, [&] { return answers.size() == wanted; }));
  };
  find("quick", kPatience);
  for (int i = 0; i < 4; ++i) find("slow", 1ms);
  find("quick", kPatience);  // all threads are still busy
  release.set_value();
  while (finished < 5) std::this_thread::yield();
  queue->sync([] {});  // late answers
  EXPECT_EQ(answers,
            (std::vector<std::string>{"quick.local", "none", "none", "none", "none", "none"}));
}

}  // namespace
}  // namespace tessaline::platform::test
