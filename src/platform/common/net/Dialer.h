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

/// One attempt to connect to an endpoint: resolves its host and tries each address in turn, each
/// but the last for a short time only. Lives on a connection's executor, owned by the connection.
class Dialer : public std::enable_shared_from_this<Dialer> {
 public:
  /// Runs at most once, with nothing when no address answered.
  using Done = std::function<void(std::optional<boost::asio::ip::tcp::socket>)>;

  Dialer(const boost::asio::any_io_executor& executor, Endpoint endpoint);

  void start(Done done);
  /// `done` does not run any more.
  void cancel();

 private:
  void tryNext();
  void onConnected(const boost::system::error_code& error);
  void finish(std::optional<boost::asio::ip::tcp::socket> socket);

  const Endpoint endpoint_;
  boost::asio::ip::tcp::resolver resolver_;
  boost::asio::ip::tcp::socket socket_;
  boost::asio::steady_timer limit_;
  std::vector<boost::asio::ip::tcp::endpoint> addresses_;
  std::size_t next_ = 0;  // index of the address to try after the present one
  Done done_;
};

}  // namespace tessaline::platform
