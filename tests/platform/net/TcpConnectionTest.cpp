#include "Loopback.h"

namespace tessaline::platform::test {
namespace {

using State = ConnectionState;

class TcpConnectionTest : public Loopback {
 protected:
  TcpConnectionTest() : listener_(listen()) {}

  /// A connected peer; `server_` is the other end, ready.
  tcp::socket connected() {
    auto peer = client(*listener_);
    server_ = streams_.next();
    server_->start();
    EXPECT_TRUE(server_->reached(State::ready));
    return peer;
  }
  Connection::Received receive(std::size_t minimum, std::size_t maximum) {
    std::optional<Connection::Received> result;
    server_->connection->queue()->sync([&] {
      server_->connection->receive(minimum, maximum, [&](Connection::Received received) {
        server_->update([&] { result = std::move(received); });
      });
    });
    EXPECT_TRUE(server_->wait([&] { return result.has_value(); }));
    return result.value_or(Connection::Received{});
  }

  std::unique_ptr<Listener> listener_;
  std::shared_ptr<Owner<Connection>> server_;
};

TEST_F(TcpConnectionTest, BacklogOfASlowReaderStaysInTheProcessAndIsReleasedByCancel) {
  auto peer = connected();
  expectBacklogStays(*server_);
}

TEST_F(TcpConnectionTest, FinishGivesUpOnAPeerThatNeverStopsSending) {
  auto peer = connected();
  server_->connection->queue()->sync([&] { server_->connection->finish(); });
  error_code error;
  const auto junk = pattern(1'000'000);
  for (int i = 0; i < 100 && !error; ++i) asio::write(peer, asio::buffer(*junk), error);
  EXPECT_TRUE(error);
  EXPECT_TRUE(server_->reached(State::cancelled));
}

TEST_F(TcpConnectionTest, PeersThatCloseAndResetAreToldApart) {
  {
    auto peer = connected();
    asio::write(peer, asio::buffer(*pattern(14)));
    EXPECT_EQ(receive(10, 10).bytes.size(), 10U);
    peer.shutdown(tcp::socket::shutdown_send);
    // Were the announced buffer made at once, this would ask for more memory than there is.
    const auto rest = receive(std::size_t{1} << 46, std::size_t{1} << 46);
    EXPECT_TRUE(rest.complete && !rest.failed);
    EXPECT_EQ(rest.bytes.size(), 4U);
    server_->send({pattern(6)});  // only one direction has ended
    Bytes answer(6);
    EXPECT_EQ(asio::read(peer, asio::buffer(answer)), 6U);
  }
  auto peer = connected();
  peer.set_option(asio::socket_base::linger(true, 0));
  peer.close();
  EXPECT_TRUE(receive(10, 10).failed);
  EXPECT_TRUE(server_->reached(State::failed));
}

}  // namespace
}  // namespace tessaline::platform::test
