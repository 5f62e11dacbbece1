#include <gmock/gmock.h>

#include "Loopback.h"

namespace tessaline::platform::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Pair;
using State = ConnectionState;
using Stream = Owner<Connection>;

class TcpConnectionTest : public Loopback {
 protected:
  std::shared_ptr<Stream> dial(const Endpoint& endpoint) {
    auto owner = std::make_shared<Stream>();
    owner->connection = network_->connect(endpoint, queues_.serial("link"));
    owner->start();
    return owner;
  }
  /// The next accepted connection, started.
  std::shared_ptr<Stream> accepted() {
    auto owner = streams_.next();
    if (owner) owner->start();
    return owner;
  }
  static Connection::Received receive(Stream& owner, std::size_t minimum, std::size_t maximum) {
    std::optional<Connection::Received> result;
    owner.connection->queue()->sync([&] {
      owner.connection->receive(minimum, maximum, [&](Connection::Received received) {
        owner.update([&] { result = std::move(received); });
      });
    });
    EXPECT_TRUE(owner.wait([&] { return result.has_value(); }));
    return result.value_or(Connection::Received{});
  }
};

TEST_F(TcpConnectionTest, BacklogOfASlowReaderStaysInTheProcessAndIsReleasedByCancel) {
  const auto listener = listen();
  auto peer = client(*listener);
  const auto server = accepted();
  ASSERT_TRUE(server->reached(State::ready));
  constexpr std::size_t payloadSize = 100'000;
  auto payload = pattern(payloadSize);
  const std::weak_ptr payloadLives = payload;
  for (int i = 0; i < 200; ++i) server->send({pattern(1), pattern(0), payload});
  payload.reset();
  EXPECT_FALSE(server->wait([&] { return server->taken > kSwallowed; }, kMoment));

  // What the peer reads lets completions go on.
  Bytes some(80 * (payloadSize + 1));
  asio::read(peer, asio::buffer(some));
  const auto wanted = pattern(payloadSize);
  for (auto at = some.begin() + 1; at < some.end(); at += payloadSize + 1) {
    ASSERT_TRUE(std::equal(wanted->begin(), wanted->end(), at));
  }
  EXPECT_TRUE(server->wait([&] { return server->taken + payloadSize > some.size(); }));

  server->connection->cancel();
  server->connection->cancel();
  EXPECT_TRUE(server->answeredInOrder());
  EXPECT_THAT(server->answers.back(), Pair(199, false));
  EXPECT_TRUE(server->reached(State::cancelled));
  server->connection->queue()->sync([] {});  // the second cancel
  EXPECT_THAT(server->states, ElementsAre(State::preparing, State::ready, State::cancelled));
  // Operations that were under way end on the queue.
  for (int i = 0; i < 1000 && !payloadLives.expired(); ++i) {
    server->connection->queue()->sync([] {});
  }
  EXPECT_TRUE(payloadLives.expired());

  server->send({pattern(10)});
  EXPECT_TRUE(server->answeredInOrder());
  EXPECT_THAT(server->answers.back(), Pair(200, false));
  EXPECT_TRUE(receive(*server, 1, 10).failed);
}

TEST_F(TcpConnectionTest, FinishGivesUpOnAPeerThatNeverStopsSending) {
  const auto listener = listen();
  auto peer = client(*listener);
  const auto server = accepted();
  ASSERT_TRUE(server->reached(State::ready));
  server->connection->queue()->sync([&] { server->connection->finish(); });
  error_code error;
  const auto junk = pattern(1'000'000);
  for (int i = 0; i < 100 && !error; ++i) asio::write(peer, asio::buffer(*junk), error);
  EXPECT_TRUE(error);
  EXPECT_TRUE(server->reached(State::cancelled));
}

TEST_F(TcpConnectionTest, PeersThatCloseAndResetAreToldApart) {
  const auto listener = listen();
  {
    auto peer = client(*listener);
    const auto server = accepted();
    asio::write(peer, asio::buffer(*pattern(14)));
    EXPECT_EQ(receive(*server, 10, 10).bytes.size(), 10U);
    peer.shutdown(tcp::socket::shutdown_send);
    // Were the announced buffer made at once, this would ask for more memory than there is.
    const auto rest = receive(*server, std::size_t{1} << 46, std::size_t{1} << 46);
    EXPECT_TRUE(rest.complete && !rest.failed);
    EXPECT_EQ(rest.bytes.size(), 4U);
    server->send({pattern(6)});  // only one direction has ended
    Bytes answer(6);
    EXPECT_EQ(asio::read(peer, asio::buffer(answer)), 6U);
  }
  auto peer = client(*listener);
  const auto server = accepted();
  ASSERT_TRUE(server->reached(State::ready));
  peer.set_option(asio::socket_base::linger(true, 0));
  peer.close();
  EXPECT_TRUE(receive(*server, 10, 10).failed);
  EXPECT_TRUE(server->reached(State::failed));
  server->connection->cancel();
  server->connection->queue()->sync([] {});
  EXPECT_THAT(server->states, ElementsAre(State::preparing, State::ready, State::failed));
}

TEST_F(TcpConnectionTest, UnreachablePeersLeaveTheConnectionWaiting) {
  tcp::acceptor closed(context_, {asio::ip::address_v4::loopback(), 0});
  const auto port = closed.local_endpoint().port();
  closed.close();
  for (const auto& host : {"127.0.0.1", "localhost", "no such host.invalid"}) {
    const auto link = dial({host, port});
    link->send({pattern(10)});
    EXPECT_TRUE(link->reached(State::waiting)) << host;
    link->connection->cancel();
    EXPECT_TRUE(link->reached(State::cancelled));
    EXPECT_TRUE(link->answeredInOrder());
    EXPECT_THAT(link->answers, Each(Pair(0, false)));
  }
}

TEST_F(TcpConnectionTest, AnEndOrALostOwnerReleasesHandlersAndSocket) {
  const auto listener = listen();
  for (const bool cancels : {true, false}) {
    auto peer = client(*listener);
    auto server = accepted();
    ASSERT_TRUE(server->reached(State::ready));
    server->connection->queue()->sync([&] {
      server->connection->receive(1, 1, [server](const auto& received) {
        EXPECT_TRUE(received.failed);  // and this handler holds its owner
      });
    });
    const std::weak_ptr lives = server;
    if (cancels) server->connection->cancel();
    const auto queue = server->connection->queue();
    server->connection.reset();
    server.reset();
    error_code error;
    EXPECT_TRUE(readToEnd(peer, error).empty());
    for (int i = 0; i < 1000 && !lives.expired(); ++i) queue->sync([] {});
    EXPECT_TRUE(lives.expired());
  }
}

}  // namespace
}  // namespace tessaline::platform::test
