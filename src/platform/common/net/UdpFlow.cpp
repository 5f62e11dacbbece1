#include "platform/common/net/UdpFlow.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/Addresses.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

using boost::asio::ip::udp;
using boost::system::error_code;

std::unique_ptr<DatagramConnection> UdpFlow::open(const Endpoint& endpoint,
                                                  std::shared_ptr<Queue> queue) {
  const auto address = numericAddress(endpoint.host);
  if (!address) return nullptr;
  const udp::endpoint peer(*address, endpoint.port);
  udp::socket socket(AsioQueue::executorOf(*queue));
  error_code error;
  socket.open(peer.protocol(), error);
  if (error) return nullptr;
  tuneDatagrams(socket);
  socket.non_blocking(true, error);
  if (!error) socket.connect(peer, error);
  if (error) return nullptr;
  return std::unique_ptr<DatagramConnection>(new UdpFlow(std::move(socket), std::move(queue)));
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
