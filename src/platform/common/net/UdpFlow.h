#pragma once

#include <boost/asio/ip/udp.hpp>
#include <memory>

#include "platform/Network.h"

namespace tessaline::platform {

/// One UDP flow over a connected socket that never blocks. Lives on the queue given when it was
/// made, owned by whoever sends.
class UdpFlow final : public DatagramConnection {
 public:
  /// Nothing when `endpoint` is not numeric or the system has no route to it.
  static std::unique_ptr<DatagramConnection> open(const Endpoint& endpoint,
                                                  std::shared_ptr<Queue> queue);
  /// Whether `open` would make one. On any thread: it leaves nothing behind.
  static bool canOpen(const Endpoint& endpoint);

  void send(ByteView bytes) override;

 private:
  UdpFlow(boost::asio::ip::udp::socket socket, std::shared_ptr<Queue> queue);

  const std::shared_ptr<Queue> queue_;
  boost::asio::ip::udp::socket socket_;
};

}  // namespace tessaline::platform
