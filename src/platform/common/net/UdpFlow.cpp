#include "platform/common/net/UdpFlow.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/Addresses.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

using boost::asio::ip::udp;
using boost::system::error_code;

namespace {

bool connect(udp::socket& socket, const Endpoint& endpoint) {
  const auto address = numericAddress(endpoint.host);
  if (!address) return false;
  const udp::endpoint peer(*address, endpoint.port);
  error_code error;
  socket.open(peer.protocol(), error);
  if (error) return false;
  tuneDatagrams(socket);
  socket.non_blocking(true, error);
  if (!error) socket.connect(peer, error);
  return !error;
}

}  // namespace

std::unique_ptr<DatagramConnection> UdpFlow::open(const Endpoint& endpoint,
                                                  std::shared_ptr<Queue> queue) {
  udp::socket socket(AsioQueue::executorOf(*queue));
  if (!connect(socket, endpoint)) return nullptr;
  return std::unique_ptr<DatagramConnection>(new UdpFlow(std::move(socket), std::move(queue)));
}

bool UdpFlow::canOpen(const Endpoint& endpoint) {
  boost::asio::io_context context;
  udp::socket socket(context);
  return connect(socket, endpoint);
}

UdpFlow::UdpFlow(udp::socket socket, std::shared_ptr<Queue> queue)
    : queue_(std::move(queue)), socket_(std::move(socket)) {}

void UdpFlow::send(ByteView bytes) {
  queue_->assertCurrent();
  const auto buffer = boost::asio::buffer(bytes.data(), bytes.size());
  error_code error;
  socket_.send(buffer, 0, error);
  // A refusal reported here belongs to an earlier datagram, and this one has not been sent.
  if (error == boost::asio::error::connection_refused) socket_.send(buffer, 0, error);
}

}  // namespace tessaline::platform
