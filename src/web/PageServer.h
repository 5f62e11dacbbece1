#pragma once

#include <deque>
#include <memory>

#include "base/Queue.h"
#include "platform/Network.h"

namespace tessaline {

/// Hands out the page: one read, one answer, the end, for each connection. Whoever reaches the port
/// may connect, so connections are limited in number and age by ending the oldest. Lives on
/// "tessaline.webserver"; owned by the web screen server.
class PageServer : public std::enable_shared_from_this<PageServer> {
 public:
  /// More connections than a household's browsers ever open at once.
  static constexpr std::size_t kMaximumConnections = 128;

  PageServer(platform::Network& network, std::shared_ptr<Queue> queue);

  /// False when the port is not to be had, with a log line. Called on the queue.
  bool listen(const platform::ListenerParameters& parameters);
  /// The port it listens on, 0 when it does not.
  [[nodiscard]] std::uint16_t port() const { return listener_ ? listener_->port() : 0; }

 private:
  using Connection = platform::Connection;

  void accept(const std::shared_ptr<Connection>& connection);
  void answer(const std::shared_ptr<Connection>& connection, ByteView request);
  void forget(const std::shared_ptr<Connection>& connection);

  platform::Network& network_;
  const std::shared_ptr<Queue> queue_;
  std::deque<std::shared_ptr<Connection>> connections_;  // oldest first
  std::unique_ptr<platform::Listener> listener_;
};

}  // namespace tessaline
