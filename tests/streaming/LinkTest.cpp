#include "streaming/Link.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <future>

#include "base/AsioQueue.h"
#include "platform/common/net/AsioNetwork.h"
#include "protocol/Framing.h"
#include "protocol/Proto.h"
#include "support/FakeConnection.h"
#include "support/FakeDiscovery.h"
#include "support/Interruptions.h"
#include "support/VirtualQueues.h"

namespace tessaline {
namespace {

using namespace std::chrono_literals;
using platform::ConnectionState;

// Timers and the byte budget, in virtual time over a connection that the test drives.
class LinkTiming : public testing::Test {
 protected:
  void SetUp() override {
    link_->onClose = [this] { ++closes_; };
    link_->onDrain = [this] { ++drains_; };
    link_->start();
    queues_.run();
  }
  test::VirtualQueues queues_;
  std::shared_ptr<test::FakeConnection> connection_ =
      std::make_shared<test::FakeConnection>(queues_.serial("tessaline.link"));
  std::shared_ptr<Link> link_ = std::make_shared<Link>(connection_, queues_.main());
  int closes_ = 0;
  int drains_ = 0;
};

TEST_F(LinkTiming, AScreenThatNeverAnswersIsGivenUpAfterFiveSeconds) {
  connection_->report(ConnectionState::preparing);
  queues_.advance(4999ms);
  EXPECT_FALSE(connection_->cancelled);
  queues_.advance(1ms);
  EXPECT_TRUE(connection_->cancelled);
  connection_->report(ConnectionState::failed);
  link_->stop();
  queues_.run();
  EXPECT_EQ(closes_, 1) << "once, whatever is reported";
  EXPECT_FALSE(link_->send(Proto::ping));
}

TEST_F(LinkTiming, APeerThatConnectsAndNeverSaysHelloIsGivenUp) {
  queues_.advance(4s);
  connection_->report(ConnectionState::ready);
  queues_.advance(9999ms);
  EXPECT_FALSE(connection_->cancelled);
  queues_.advance(1ms);
  EXPECT_TRUE(connection_->cancelled);
}

TEST_F(LinkTiming, DropsMessagesBeyondItsBudget) {
  connection_->report(ConnectionState::ready);
  connection_->taking = false;
  const Bytes payload(1'500'000 - 5);
  EXPECT_TRUE(link_->send(Proto::frame, payload));
  EXPECT_TRUE(link_->send(Proto::frame, payload));
  EXPECT_EQ(link_->unsentBytes(), 3'000'000U);
  EXPECT_TRUE(link_->send(Proto::ping));  // exactly at the limit one more is accepted
  EXPECT_FALSE(link_->send(Proto::ping));
  queues_.run();
  connection_->queue()->sync([&] { connection_->untaken.at(2)(true); });
  EXPECT_EQ(drains_, 1);
  EXPECT_EQ(link_->unsentBytes(), 3'000'000U);
  EXPECT_TRUE(link_->send(Proto::ping));
}

TEST_F(LinkTiming, AGoodbyeIsSaidPastTheBudgetAndEndsTheLink) {
  connection_->report(ConnectionState::ready);
  connection_->taking = false;
  link_->send(Proto::frame, Bytes(4'000'000));
  link_->sayGoodbye();
  queues_.advance(999ms);
  EXPECT_EQ(connection_->sent.back(), (Bytes{0, 0, 0, 1, 4}));
  EXPECT_FALSE(connection_->cancelled);
  queues_.advance(1ms);
  EXPECT_EQ(closes_, 1);
}

// Bytes, over a real connection to a screen that the test plays.
class LinkBytes : public testing::Test {
 protected:
  void SetUp() override { connect(); }
  /// A new link with a new screen.
  void connect() {
    hello_ = {};
    closed_ = {};
    const auto port = acceptor_.local_endpoint().port();
    // The computer has an address that does not answer, too.
    discovery_->addresses["Anna's iMac"] = {{"::1", port}, {"127.0.0.1", port}};
    link_ =
        Link::make(*network_, queues_, {"Anna's iMac", std::string(Proto::serviceType), "local"});
    link_->screenName = "Anna's iMac";
    link_->onHello = [this](const Hello& hello) { hello_.set_value(hello); };
    link_->onClose = [this] { closed_.set_value(); };
    link_->start();
    screen_ = acceptor_.accept();
  }
  void write(const Bytes& bytes) { boost::asio::write(screen_, boost::asio::buffer(bytes)); }
  static bool soon(std::future<void> future) {
    return future.wait_for(20s) == std::future_status::ready;
  }

  boost::asio::io_context context_;
  boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
  boost::asio::ip::tcp::socket screen_{context_};
  AsioQueues queues_;
  std::shared_ptr<test::FakeDiscovery> discovery_ = std::make_shared<test::FakeDiscovery>();
  std::unique_ptr<platform::Network> network_ = platform::createNetwork(discovery_);
  std::shared_ptr<Link> link_;
  std::promise<Hello> hello_;
  std::promise<void> closed_;
};

TEST_F(LinkBytes, AHelloMayBeCutOrTornAtEveryByte) {
  Bytes said = framing::message(Proto::cursorPos, Bytes(7));  // not a screen's to send: ignored
  for (const Bytes& hello : {Bytes(7), Hello{9, 9, {}, 1, "4F1C", "", {}}.encoded()}) {
    const Bytes message = framing::message(Proto::hello, hello);  // the first is too short
    said.insert(said.end(), message.begin(), message.end());
  }
  const auto part = [&](std::size_t first, std::size_t last) {
    return Bytes(said.begin() + static_cast<std::ptrdiff_t>(first),
                 said.begin() + static_cast<std::ptrdiff_t>(last));
  };
  const auto before = test::Census::now();
  for (const bool reset : {false, true}) {
    for (std::size_t cut = 0; cut <= said.size(); ++cut) {
      connect();
      auto told = hello_.get_future();
      write(part(0, cut));
      if (reset) screen_.set_option(boost::asio::socket_base::linger(true, 0));
      screen_.close();
      EXPECT_TRUE(soon(closed_.get_future())) << cut;
      const bool ready = told.wait_for(0s) == std::future_status::ready;
      EXPECT_TRUE(reset ? !ready || cut == said.size() : ready == (cut == said.size())) << cut;
    }
  }
  for (std::size_t cut = 1; cut < said.size(); ++cut) {
    connect();
    write(part(0, cut));
    test::awaitPeer(screen_);
    write(part(cut, said.size()));
    auto told = hello_.get_future();
    ASSERT_EQ(told.wait_for(20s), std::future_status::ready) << cut;
    EXPECT_EQ(told.get().deviceID, "4F1C") << cut;
    screen_.close();
    EXPECT_TRUE(soon(closed_.get_future())) << cut;
  }
  connect();
  write({0, 0x10, 0, 0});  // a length that it cannot hold
  EXPECT_TRUE(soon(closed_.get_future()));
  EXPECT_TRUE(before.comesBack()) << before << " became " << test::Census::now();
}

}  // namespace
}  // namespace tessaline
