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

}  // namespace
}  // namespace tessaline::platform::test
