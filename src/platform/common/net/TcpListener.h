#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>

#include "platform/Network.h"

namespace tessaline::platform {

/// A listening TCP socket of either address family. Lives on the queue given when it was made and
/// is owned by whoever listens; destroying it frees the port before the destructor returns. Nothing
/// is delivered after a destruction on its queue; after one elsewhere, a delivery may be under way.
class TcpListener final : public Listener {
 public:
  struct Callbacks {
    /// The queue of the next connection; none ends the listening.
    std::function<std::shared_ptr<Queue>()> queue;
    /// On the listener's queue; the socket lives on the other. May destroy the listener.
    std::function<void(boost::asio::ip::tcp::socket, std::shared_ptr<Queue>)> accept;
  };

  /// Of the parameters, the identity is left to who wraps the sockets.
  static Result<std::unique_ptr<Listener>> listen(const ListenerParameters& parameters,
                                                  std::shared_ptr<Queue> queue,
                                                  Callbacks callbacks);

  ~TcpListener() override;
  TcpListener(const TcpListener&) = delete;
  TcpListener& operator=(const TcpListener&) = delete;

  [[nodiscard]] std::uint16_t port() const override;

 private:
  class Acceptor;
  TcpListener(std::shared_ptr<Acceptor> acceptor, std::shared_ptr<Queue> queue);

  const std::shared_ptr<Queue> queue_;  // keeps the acceptor's executor alive
  const std::shared_ptr<Acceptor> acceptor_;
};

}  // namespace tessaline::platform
