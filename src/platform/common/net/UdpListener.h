#pragma once

#include <memory>

#include "platform/Network.h"

namespace tessaline::platform {

/// A UDP socket of either address family that hands over what arrives, a bounded number of
/// datagrams for each turn of its queue. Lives on the queue given when it was made, owned by
/// whoever listens; destroying it frees the port before the destructor returns. Nothing is
/// delivered after a destruction on its queue; after one elsewhere, a delivery may be under way.
class UdpListener final : public Listener {
 public:
  static Result<std::unique_ptr<Listener>> listen(std::uint16_t port, std::shared_ptr<Queue> queue,
                                                  Network::DatagramHandler handler);

  ~UdpListener() override;
  UdpListener(const UdpListener&) = delete;
  UdpListener& operator=(const UdpListener&) = delete;

  [[nodiscard]] std::uint16_t port() const override;

 private:
  class Receiver;
  UdpListener(std::shared_ptr<Receiver> receiver, std::shared_ptr<Queue> queue);

  const std::shared_ptr<Queue> queue_;  // keeps the socket's executor alive
  const std::shared_ptr<Receiver> receiver_;
};

}  // namespace tessaline::platform
