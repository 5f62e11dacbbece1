#include "platform/common/net/UdpListener.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/udp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/steady_timer.hpp>
#include <mutex>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/Addresses.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

namespace asio = boost::asio;
using asio::ip::udp;
using boost::system::error_code;

namespace {

// Datagrams handed over before the queue's other work gets its turn.
constexpr int kBatch = 32;
// Bytes of the largest datagram there is.
constexpr std::size_t kLargestDatagram = 65'536;
// Wait after an error of the socket (no memory, say); trying at once could fail again and again.
constexpr auto kRetryDelay = std::chrono::milliseconds(250);

error_code open(udp::socket& socket, const udp::endpoint& address) {
  error_code error;
  socket.open(address.protocol(), error);
  if (error) return error;
  tuneDatagrams(socket);
  if (address.protocol() == udp::v6()) socket.set_option(asio::ip::v6_only(false), error);
  if (!error) socket.non_blocking(true, error);
  if (!error) socket.bind(address, error);
  if (error) {
    error_code ignored;
    socket.close(ignored);
  }
  return error;
}

/// Both address families on one socket, or IPv4 alone on a system without IPv6.
error_code openAny(udp::socket& socket, std::uint16_t port) {
  const auto error = open(socket, {udp::v6(), port});
  if (lacksIPv6(error)) return open(socket, {udp::v4(), port});
  return error;
}

}  // namespace

/// The receiving itself, kept alive by the wait for the next datagram. The mutex lets the listener
/// be destroyed on any thread.
class UdpListener::Receiver : public std::enable_shared_from_this<Receiver> {
 public:
  Receiver(udp::socket socket, Network::DatagramHandler handler)
      : socket_(std::move(socket)),
        retry_(socket_.get_executor()),
        handler_(std::make_shared<const Network::DatagramHandler>(std::move(handler))) {
    error_code ignored;
    port_ = socket_.local_endpoint(ignored).port();
  }

  void waitForMore() {
    const std::lock_guard lock(mutex_);
    if (!handler_) return;
    socket_.async_wait(
        udp::socket::wait_read,
        [self = shared_from_this()](const error_code& error) { self->onReadable(error); });
  }

  void stop() {
    const std::lock_guard lock(mutex_);
    error_code ignored;
    socket_.close(ignored);
    retry_.cancel();
    handler_.reset();
  }

  [[nodiscard]] std::uint16_t port() const { return port_; }

 private:
  void onReadable(error_code error) {
    for (int count = 0; !error && count < kBatch; ++count) {
      udp::endpoint from;
      std::size_t size = 0;
      std::shared_ptr<const Network::DatagramHandler> handler;
      {
        const std::lock_guard lock(mutex_);
        if (!handler_) return;
        handler = handler_;
        size = socket_.receive_from(asio::buffer(buffer_), from, 0, error);
      }
      if (!error) {
        (*handler)({plainAddress(from.address()), from.port()}, ByteView(buffer_).first(size));
      }
    }
    if (!error || error == asio::error::would_block) {
      waitForMore();
    } else {
      retryLater();
    }
  }

  void retryLater() {
    const std::lock_guard lock(mutex_);
    if (!handler_) return;
    retry_.expires_after(kRetryDelay);
    retry_.async_wait([self = shared_from_this()](const error_code& cancelled) {
      if (!cancelled) self->waitForMore();
    });
  }

  std::mutex mutex_;  // guards socket_, retry_ and handler_
  udp::socket socket_;
  asio::steady_timer retry_;
  std::shared_ptr<const Network::DatagramHandler> handler_;  // none once stopped
  std::array<std::uint8_t, kLargestDatagram> buffer_{};
  std::uint16_t port_ = 0;
};

Result<std::unique_ptr<Listener>> UdpListener::listen(std::uint16_t port,
                                                      std::shared_ptr<Queue> queue,
                                                      Network::DatagramHandler handler) {
  udp::socket socket(AsioQueue::executorOf(*queue));
  if (const auto error = openAny(socket, port)) {
    return Failure{describePortError(port, error)};
  }
  auto receiver = std::make_shared<Receiver>(std::move(socket), std::move(handler));
  receiver->waitForMore();
  return std::unique_ptr<Listener>(new UdpListener(std::move(receiver), std::move(queue)));
}

UdpListener::UdpListener(std::shared_ptr<Receiver> receiver, std::shared_ptr<Queue> queue)
    : queue_(std::move(queue)), receiver_(std::move(receiver)) {}

UdpListener::~UdpListener() {
  receiver_->stop();
}

std::uint16_t UdpListener::port() const {
  return receiver_->port();
}

}  // namespace tessaline::platform
