#include <atomic>
#include <future>

#include "Loopback.h"
#include "platform/common/net/LocalAddress.h"
#include "platform/common/net/ReverseName.h"
#include "support/Eventually.h"

namespace tessaline::platform::test {
namespace {

using namespace std::chrono_literals;

class LookupTest : public Loopback {};

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
  std::vector<std::string> answers;  // touched on the queue
  ReverseName names([&, released = release.get_future().share()](const std::string& address) {
    if (address == "slow") released.wait();
    ++finished;
    return std::optional<std::string>(address + ".local");
  });
  const auto queue = queues_.serial("web");
  const auto find = [&](const std::string& address, Duration limit) {
    const auto wanted = answers.size() + 1;
    names.find(address, limit, queue, [&](const std::optional<std::string>& name) {
      answers.push_back(name.value_or("none"));
    });
    EXPECT_TRUE(tessaline::test::eventually([&] {
      bool answered = false;
      queue->sync([&] { answered = answers.size() == wanted; });
      return answered;
    }));
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
