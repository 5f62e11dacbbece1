#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/common/net/TlsIdentity.h"

namespace tessaline::platform {

/// A socket, with TLS over it where an identity is given: what connections read and write,
/// whichever it is. Plain bytes pass through unchanged; TLS records go to the socket one after the
/// other, so that a write completes when the network took its last one. Lives on its connection's
/// queue, owned by it.
class TransportStream {
 public:
  using Socket = boost::asio::ip::tcp::socket;
  using executor_type = Socket::executor_type;
  using Done = std::function<void(const boost::system::error_code&)>;

  explicit TransportStream(Socket socket, std::shared_ptr<const TlsIdentity> identity = nullptr);
  TransportStream(const TransportStream&) = delete;
  TransportStream& operator=(const TransportStream&) = delete;

  [[nodiscard]] executor_type get_executor() { return socket_.get_executor(); }
  [[nodiscard]] Socket& socket() { return socket_; }
  [[nodiscard]] const Socket& socket() const { return socket_; }
  [[nodiscard]] bool encrypted() const { return tls_.has_value(); }

  /// The server's side of the TLS handshake, which only an encrypted stream has. A failure of the
  /// peer's making is logged, now and then.
  void handshake(Done done);
  /// Tells the peer that nothing more will be sent. What it still sends can be read. No write may
  /// be under way.
  void sendEnd(std::function<void()> done);

  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) {
      tls_->async_read_some(buffers, std::forward<Handler>(handler));
    } else {
      socket_.async_read_some(buffers, std::forward<Handler>(handler));
    }
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    if (tls_) {
      tls_->async_write_some(buffers, std::forward<Handler>(handler));
    } else {
      socket_.async_write_some(buffers, std::forward<Handler>(handler));
    }
  }

 private:
  Socket socket_;
  const std::shared_ptr<const TlsIdentity> identity_;
  std::optional<boost::asio::ssl::stream<Socket&>> tls_;
};

/// How a WebSocket ends its stream once both sides have said goodbye; found by Beast.
template <typename Handler>
void async_teardown(boost::beast::role_type role, TransportStream& stream, Handler&& handler) {
  if (!stream.encrypted()) {
    boost::beast::websocket::async_teardown(role, stream.socket(), std::forward<Handler>(handler));
    return;
  }
  // Handlers are movable only, which a std::function cannot hold.
  auto shared = std::make_shared<std::decay_t<Handler>>(std::forward<Handler>(handler));
  stream.sendEnd([role, &stream, shared] {
    // What the peer still sends is read, so that it gets the goodbye and not a reset.
    boost::beast::websocket::async_teardown(role, stream.socket(), std::move(*shared));
  });
}

inline void beast_close_socket(TransportStream& stream) {
  boost::system::error_code ignored;
  stream.socket().close(ignored);
}

}  // namespace tessaline::platform
