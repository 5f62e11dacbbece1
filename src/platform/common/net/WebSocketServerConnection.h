#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/Network.h"
#include "platform/common/net/SendQueue.h"
#include "platform/common/net/StateReporter.h"
#include "platform/common/net/TransportStream.h"

namespace tessaline::platform {

/// The server's side of a WebSocket over an accepted socket, with TLS if the listener has an
/// identity: reads the upgrade request, refuses
/// what is none with an HTTP answer, then carries whole messages. Lives on the queue given when it
/// was made; operations under way keep it alive, and when its last owner lets go of it, it ends.
class WebSocketServerConnection final
    : public WebSocketConnection,
      public std::enable_shared_from_this<WebSocketServerConnection> {
 public:
  /// `socket` lives on the executor of `queue`.
  static std::shared_ptr<WebSocketConnection> accepted(boost::asio::ip::tcp::socket socket,
                                                       std::shared_ptr<Queue> queue,
                                                       std::shared_ptr<const TlsIdentity> identity);

  WebSocketServerConnection(boost::asio::ip::tcp::socket socket,
                            std::shared_ptr<const TlsIdentity> identity);

  [[nodiscard]] const std::shared_ptr<Queue>& queue() const override { return queue_; }
  void start(StateHandler handler) override;
  void cancel() override;
  [[nodiscard]] std::optional<Endpoint> remoteEndpoint() const override { return remote_; }
  [[nodiscard]] std::optional<NetworkPath> path() const override;
  void send(std::vector<SharedBytes> parts, Done done) override;
  void receive(std::function<void(std::optional<Message>)> done) override;
  void setMaximumMessageSize(std::size_t bytes) override;

  /// The last owner has gone: ends the connection. From any thread.
  [[nodiscard]] std::shared_ptr<Queue> letGo();

 private:
  using Request = boost::beast::http::request_parser<boost::beast::http::empty_body>;
  using MessageBuffer =
      boost::asio::dynamic_vector_buffer<std::uint8_t, std::allocator<std::uint8_t>>;

  void begin();
  void readRequest();
  void onRequest(const boost::system::error_code& error);
  void refuse(std::string_view statusAndHeaders);
  void finishRefusal();
  void drop();
  void upgrade();
  void writeNext();
  void readMessage();
  void onMessage(const boost::system::error_code& error, Bytes bytes);
  void end(ConnectionState final);
  void later(std::function<void()> work);
  void assertCurrent() const;

  const boost::asio::any_io_executor executor_;
  boost::beast::websocket::stream<TransportStream> stream_;
  boost::asio::steady_timer handshakeLimit_;
  std::shared_ptr<Queue> queue_;  // none once nobody owns this
  const std::optional<Endpoint> remote_;
  boost::beast::flat_buffer head_;
  std::optional<Request> request_;  // until the upgrade is done
  StateReporter reporter_;
  SendQueue sends_;
  std::function<void(std::optional<Message>)> receive_;
  Bytes incoming_;                // the message being read, or what a refused peer still sends
  std::size_t droppedBytes_ = 0;  // by a refusal
  std::optional<MessageBuffer> incomingBuffer_;  // over incoming_, while a message is read
  bool open_ = false;
};

}  // namespace tessaline::platform
