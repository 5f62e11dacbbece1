#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Network.h"

namespace tessaline::platform {

/// One attempt to connect to a peer: looks up its addresses and tries each in turn, each but the
/// last for a short time only. Lives on a connection's executor, owned by the connection.
class Dialer : public std::enable_shared_from_this<Dialer> {
 public:
  /// Runs at most once, with nothing when no address answered.
  using Done = std::function<void(std::optional<boost::asio::ip::tcp::socket>)>;
  /// Finds the peer: answers once, on the dialer's executor, with numeric addresses; with none when
  /// there is no such peer.
  using LookUp = std::function<void(std::function<void(std::vector<Endpoint>)> answer)>;

  Dialer(const boost::asio::any_io_executor& executor, LookUp lookUp);
  /// A dialer to a host; the system resolves its name, if it is one.
  static std::shared_ptr<Dialer> toHost(const boost::asio::any_io_executor& executor,
                                        const Endpoint& endpoint);

  void start(Done done);
  /// `done` does not run any more.
  void cancel();

 private:
  void found(const std::vector<Endpoint>& endpoints);
  void tryNext();
  void onConnected(const boost::system::error_code& error);
  void finish(std::optional<boost::asio::ip::tcp::socket> socket);

  LookUp lookUp_;
  boost::asio::ip::tcp::socket socket_;
  boost::asio::steady_timer limit_;
  std::vector<boost::asio::ip::tcp::endpoint> addresses_;
  std::size_t next_ = 0;  // index of the address to try after the present one
  Done done_;
};

}  // namespace tessaline::platform
