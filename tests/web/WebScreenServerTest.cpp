#include "web/WebScreenServer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "protocol/Proto.h"
#include "support/FakeNetwork.h"
#include "support/FakePlatform.h"
#include "support/TemporaryFolder.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;

class WebScreenServerTest : public testing::Test {
 protected:
  WebScreenServerTest() {
    server_->start();
    queues_.run();
  }
  std::shared_ptr<test::FakeWebSocket> browse() { return network_.browse(queues_); }
  void hello(test::FakeWebSocket& socket, const std::string& key, const std::string& id = "i") {
    socket.say(R"({"w":800,"h":600,"name":"iPad","key":")" + key + R"(","id":")" + id + "\"}");
    queues_.run();
  }
  static bool refused(const test::FakeWebSocket& socket) {
    return std::ranges::find(socket.sent, Bytes{Proto::denied}) != socket.sent.end();
  }

  test::VirtualQueues queues_;
  test::FakeDesktop desktop_;
  test::FakeCoding coding_;
  test::FakeNetwork network_;
  test::TemporaryFolder folder_;
  UserDefaults defaults_{folder_.path() / "defaults.json"};
  ApprovedDevices approved_{defaults_};
  std::unique_ptr<WebScreenServer> server_ = std::make_unique<WebScreenServer>(
      SessionServices{queues_, desktop_, coding_, network_}, defaults_, approved_);
};

TEST_F(WebScreenServerTest, ANewLinkEndsEverySession) {
  const std::string old = server_->key();
  const auto socket = browse();
  approved_.add("i", "iPad");
  hello(*socket, old);
  server_->renewKey();
  queues_.advance(500ms);
  EXPECT_EQ(socket->sent.back(), (Bytes{Proto::bye}));
  EXPECT_TRUE(server_->sessions().empty());
  for (const std::string& key : {old, std::string(), server_->key() + "x"}) {
    const auto again = browse();
    hello(*again, key);
    EXPECT_TRUE(refused(*again)) << key;
  }
  EXPECT_TRUE(approved_.pending().empty());
  const WebScreenServer next({queues_, desktop_, coding_, network_}, defaults_, approved_);
  EXPECT_EQ(next.key(), server_->key()) << "it survives restarts";
}

TEST_F(WebScreenServerTest, StrangersAreYoungButAPersonMayTakeTheirTimeToAnswer) {
  const auto silent = browse();
  const auto asking = browse();
  hello(*asking, server_->key());
  EXPECT_EQ(server_->sessions()[0]->name(), "Browser 192.0.2.7");
  queues_.advance(60s);
  EXPECT_TRUE(silent->cancelled);
  approved_.answer(approved_.pending().at(0).id, true);
  queues_.run();
  EXPECT_EQ(desktop_.displays.size(), 1U);
  EXPECT_EQ(server_->sessions().at(0)->name(), "iPad");
}

TEST_F(WebScreenServerTest, MayGoWhileBrowsersAreArriving) {
  const auto socket = browse();
  const auto late = std::make_shared<test::FakeWebSocket>(network_.browserQueues());
  network_.browserQueue->sync([&] { network_.acceptBrowser(late); });
  server_.reset();
  queues_.advance(10s);
  EXPECT_TRUE(desktop_.displays.empty());
}

}  // namespace
}  // namespace tessaline
