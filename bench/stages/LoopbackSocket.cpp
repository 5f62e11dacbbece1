#include "stages/LoopbackSocket.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>
#include <future>
#include <string>
#include <thread>

#include "platform/common/net/AsioNetwork.h"

namespace tessaline::bench {

namespace {

using boost::asio::ip::tcp;
using namespace std::chrono_literals;

constexpr std::uint16_t kPort = 17791;  // outside the application's and the ephemeral ports
constexpr auto kPatience = 5s;

}  // namespace

class LoopbackSocket::Pair {
 public:
  explicit Pair(Queues& queues) : queue_(queues.serial("bench.loopback")), client_(io_) {}

  ~Pair() {
    if (connection_) connection_->cancel();
    boost::system::error_code ignored;
    client_.next_layer().close(ignored);
    queue_->sync([this] { listener_.reset(); });
  }

  std::optional<std::string> open() {
    std::promise<std::shared_ptr<platform::WebSocketConnection>> accepted;
    auto ready = accepted.get_future();
    auto listener = network_->listenWebSocket(
        {.port = kPort, .identity = nullptr}, queue_, [this] { return queue_; },
        [&accepted](std::shared_ptr<platform::WebSocketConnection> connection) {
          connection->start([&accepted, connection](platform::ConnectionState state) {
            if (state == platform::ConnectionState::ready) accepted.set_value(connection);
          });
        });
    if (!listener) return listener.error();
    listener_ = std::move(*listener);
    boost::system::error_code error;
    client_.next_layer().connect({boost::asio::ip::address_v4::loopback(), kPort}, error);
    if (!error) client_.handshake("127.0.0.1", "/", error);
    if (error) return error.message();
    client_.next_layer().set_option(tcp::no_delay(true));
    if (ready.wait_for(kPatience) != std::future_status::ready) return "nothing was accepted";
    connection_ = ready.get();
    return std::nullopt;
  }

  std::optional<Duration> send(SharedBytes message) {
    const auto start = Clock::now();
    queue_->async([connection = connection_, message = std::move(message)] {
      connection->send({message}, [](bool) {});
    });
    boost::system::error_code error;
    buffer_.clear();
    client_.read(buffer_, error);
    if (error) return std::nullopt;
    return Clock::now() - start;
  }

 private:
  const std::shared_ptr<Queue> queue_;
  const std::unique_ptr<platform::Network> network_ = platform::createNetwork();
  std::unique_ptr<platform::Listener> listener_;
  std::shared_ptr<platform::WebSocketConnection> connection_;
  boost::asio::io_context io_;
  boost::beast::websocket::stream<tcp::socket> client_;
  boost::beast::flat_buffer buffer_;
};

LoopbackSocket::LoopbackSocket(std::unique_ptr<Pair> pair) : pair_(std::move(pair)) {}
LoopbackSocket::~LoopbackSocket() = default;

Result<std::unique_ptr<LoopbackSocket>> LoopbackSocket::open(Queues& queues) {
  auto pair = std::make_unique<Pair>(queues);
  if (auto error = pair->open()) return Failure{*error};
  return std::unique_ptr<LoopbackSocket>(new LoopbackSocket(std::move(pair)));
}

std::optional<Duration> LoopbackSocket::send(SharedBytes message) {
  return pair_->send(std::move(message));
}

}  // namespace tessaline::bench
