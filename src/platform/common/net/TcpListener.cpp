#include "platform/common/net/TcpListener.h"

#include <boost/asio/error.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/steady_timer.hpp>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/AsioQueue.h"
#include "base/Log.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

// Wait after a failed accept (no descriptor left, say); trying at once would fail again and again.
constexpr auto kRetryDelay = std::chrono::milliseconds(250);
// Failed accepts come in runs: one log line for a run is enough.
constexpr auto kLogInterval = std::chrono::minutes(1);

error_code open(tcp::acceptor& acceptor, const tcp::endpoint& address, std::size_t unreadBytes) {
  error_code error;
  acceptor.open(address.protocol(), error);
  if (error) return error;
  keepFromChildren(acceptor.native_handle());
  // Connections of an earlier run that linger must not hold the port; another listener still does.
  acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error && address.protocol() == tcp::v6()) {
    acceptor.set_option(asio::ip::v6_only(false), error);
  }
  // Accepted connections inherit it; only from here does it count for the window they announce.
  if (!error && unreadBytes > 0) {
    error_code ignored;
    acceptor.set_option(asio::socket_base::receive_buffer_size(static_cast<int>(unreadBytes)),
                        ignored);
  }
  if (!error) acceptor.bind(address, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    error_code ignored;
    acceptor.close(ignored);
  }
  return error;
}

/// Both address families on one socket, or IPv4 alone on a system without IPv6.
error_code openAny(tcp::acceptor& acceptor, const ListenerParameters& parameters) {
  const auto error = open(acceptor, {tcp::v6(), parameters.port}, parameters.unreadBytes);
  if (!lacksIPv6(error)) return error;
  return open(acceptor, {tcp::v4(), parameters.port}, parameters.unreadBytes);
}

}  // namespace

/// The accepting itself, kept alive by the accept that waits. The mutex lets the listener be
/// destroyed on any thread.
class TcpListener::Acceptor : public std::enable_shared_from_this<Acceptor> {
 public:
  Acceptor(tcp::acceptor acceptor, Callbacks callbacks)
      : acceptor_(std::move(acceptor)),
        retry_(acceptor_.get_executor()),
        callbacks_(std::make_shared<const Callbacks>(std::move(callbacks))) {
    error_code ignored;
    port_ = acceptor_.local_endpoint(ignored).port();
  }

  void acceptNext() {
    const auto callbacks = current();
    auto queue = callbacks ? callbacks->queue() : nullptr;
    if (!queue) return;
    const auto executor = AsioQueue::executorOf(*queue);
    const std::lock_guard lock(mutex_);
    if (!callbacks_) return;
    nextQueue_ = std::move(queue);
    acceptor_.async_accept(
        executor, [self = shared_from_this()](const error_code& error, tcp::socket socket) {
          self->onAccepted(error, std::move(socket));
        });
  }

  void stop() {
    const std::lock_guard lock(mutex_);
    error_code ignored;
    acceptor_.close(ignored);
    retry_.cancel();
    callbacks_.reset();
    nextQueue_.reset();
  }

  [[nodiscard]] std::uint16_t port() const { return port_; }

 private:
  std::shared_ptr<const Callbacks> current() {
    const std::lock_guard lock(mutex_);
    return callbacks_;
  }

  void onAccepted(const error_code& error, tcp::socket socket) {
    if (error) {
      retryLater(error);
      return;
    }
    std::shared_ptr<const Callbacks> callbacks;
    std::shared_ptr<Queue> queue;
    {
      const std::lock_guard lock(mutex_);
      callbacks = callbacks_;
      queue = std::exchange(nextQueue_, nullptr);
    }
    if (!callbacks) return;
    tuneStream(socket);
    callbacks->accept(std::move(socket), std::move(queue));
    acceptNext();
  }

  void retryLater(const error_code& error) {
    const std::lock_guard lock(mutex_);
    if (!callbacks_) return;
    const auto now = Clock::now();
    if (!logged_ || now - *logged_ > kLogInterval) {
      logged_ = now;
      log("Port " + std::to_string(port_) + " cannot accept now: " + error.message());
    }
    retry_.expires_after(kRetryDelay);
    retry_.async_wait([self = shared_from_this()](const error_code& cancelled) {
      if (!cancelled) self->acceptNext();
    });
  }

  std::mutex mutex_;  // guards everything but port_ and logged_
  tcp::acceptor acceptor_;
  asio::steady_timer retry_;
  std::shared_ptr<const Callbacks> callbacks_;  // none once stopped
  std::shared_ptr<Queue> nextQueue_;            // of the connection that is waited for
  std::uint16_t port_ = 0;
  std::optional<Clock::time_point> logged_;
};

Result<std::unique_ptr<Listener>> TcpListener::listen(const ListenerParameters& parameters,
                                                      std::shared_ptr<Queue> queue,
                                                      Callbacks callbacks) {
  tcp::acceptor acceptor(AsioQueue::executorOf(*queue));
  if (const auto error = openAny(acceptor, parameters)) {
    return Failure{describePortError(parameters.port, error)};
  }
  auto core = std::make_shared<Acceptor>(std::move(acceptor), std::move(callbacks));
  core->acceptNext();
  return std::unique_ptr<Listener>(new TcpListener(std::move(core), std::move(queue)));
}

TcpListener::TcpListener(std::shared_ptr<Acceptor> acceptor, std::shared_ptr<Queue> queue)
    : queue_(std::move(queue)), acceptor_(std::move(acceptor)) {}

TcpListener::~TcpListener() {
  acceptor_->stop();
}

std::uint16_t TcpListener::port() const {
  return acceptor_->port();
}

}  // namespace tessaline::platform
