#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Network.h"
#include "platform/common/net/Dialer.h"
#include "platform/common/net/SendQueue.h"
#include "platform/common/net/StateReporter.h"
#include "platform/common/net/TransportStream.h"

namespace tessaline::platform {

/// A TCP stream over an Asio socket, dialled or accepted, the latter with TLS if the listener has
/// an identity. Lives on the queue given when it was
/// made; operations under way keep it alive, and when its last owner lets go of it, it ends.
class TcpConnection final : public Connection, public std::enable_shared_from_this<TcpConnection> {
 public:
  /// `dialer` lives on the executor of `queue`.
  static std::shared_ptr<Connection> dial(std::shared_ptr<Dialer> dialer,
                                          std::shared_ptr<Queue> queue);
  /// `socket` lives on the executor of `queue`.
  static std::shared_ptr<Connection> accepted(boost::asio::ip::tcp::socket socket,
                                              std::shared_ptr<Queue> queue,
                                              std::shared_ptr<const TlsIdentity> identity);

  TcpConnection(boost::asio::ip::tcp::socket socket, std::shared_ptr<const TlsIdentity> identity);

  [[nodiscard]] const std::shared_ptr<Queue>& queue() const override { return queue_; }
  void start(StateHandler handler) override;
  void cancel() override;
  [[nodiscard]] std::optional<Endpoint> remoteEndpoint() const override { return remote_; }
  [[nodiscard]] std::optional<NetworkPath> path() const override;
  void send(std::vector<SharedBytes> parts, Done done) override;
  void receive(std::size_t minimum, std::size_t maximum,
               std::function<void(Received)> done) override;
  void finish() override;

  /// The last owner has gone: ends the connection unless it is finishing. From any thread.
  [[nodiscard]] std::shared_ptr<Queue> letGo();

 private:
  struct Receive {
    std::size_t minimum;
    std::size_t maximum;
    std::function<void(Received)> done;
    Bytes bytes;  // grows as they arrive: an announced length costs nothing by itself
    std::size_t filled = 0;
  };

  void begin();
  void handshake();
  void becomeReady();
  void writeNext();
  void readMore();
  void onRead(const boost::system::error_code& error, std::size_t count);
  void deliver(bool complete);
  void drain();
  void onDrained(const boost::system::error_code& error, std::size_t count);
  void endStreamWhenWritten();
  void end(ConnectionState final);
  void later(std::function<void()> work);
  void assertCurrent() const;

  const boost::asio::any_io_executor executor_;
  TransportStream stream_;
  boost::asio::steady_timer limit_;  // of the handshake, later of finishing
  std::shared_ptr<Queue> queue_;     // none once nobody owns this
  std::shared_ptr<Dialer> dialer_;
  std::optional<Endpoint> remote_;
  StateReporter reporter_;
  SendQueue sends_;
  std::optional<Receive> receive_;
  Bytes dropped_;  // what the peer still sends while finishing
  std::size_t droppedBytes_ = 0;
  bool ready_ = false;
  bool reading_ = false;  // a read of the socket is under way
  bool finishing_ = false;
  bool peerEnded_ = false;
  bool sendingEnd_ = false;
  bool endSent_ = false;
};

}  // namespace tessaline::platform
