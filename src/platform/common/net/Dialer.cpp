#include "platform/common/net/Dialer.h"

#include <string>
#include <utility>

#include "platform/common/net/Addresses.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {
// An address that does not answer gives way to the next after this time: long enough for one
// repeated connection request, short enough to try three within a link's five seconds.
constexpr auto kAttemptLimit = std::chrono::milliseconds(1500);
}  // namespace

Dialer::Dialer(const boost::asio::any_io_executor& executor, Endpoint endpoint)
    : endpoint_(std::move(endpoint)), resolver_(executor), socket_(executor), limit_(executor) {}

void Dialer::start(Done done) {
  done_ = std::move(done);
  if (const auto address = numericAddress(endpoint_.host)) {
    addresses_.emplace_back(*address, endpoint_.port);
    tryNext();
    return;
  }
  resolver_.async_resolve(
      endpoint_.host, std::to_string(endpoint_.port), tcp::resolver::numeric_service,
      [self = shared_from_this()](const error_code& error, const tcp::resolver::results_type& all) {
        if (!error) {
          for (const auto& entry : all) self->addresses_.push_back(entry.endpoint());
        }
        self->tryNext();
      });
}

void Dialer::cancel() {
  done_ = nullptr;
  error_code ignored;
  resolver_.cancel();
  socket_.close(ignored);
  limit_.cancel();
}

void Dialer::tryNext() {
  while (done_ && next_ < addresses_.size()) {
    const auto& address = addresses_[next_++];
    error_code error;
    socket_.close(error);
    socket_.open(address.protocol(), error);
    if (error) continue;
    tuneStream(socket_);
    socket_.async_connect(address, [self = shared_from_this()](const error_code& result) {
      self->onConnected(result);
    });
    if (next_ == addresses_.size()) return;
    limit_.expires_after(kAttemptLimit);
    limit_.async_wait([self = shared_from_this(), tried = next_](const error_code& cancelled) {
      // Closing ends the attempt, whose completion then goes on.
      error_code ignored;
      if (!cancelled && self->done_ && self->next_ == tried) self->socket_.close(ignored);
    });
    return;
  }
  finish(std::nullopt);
}

void Dialer::onConnected(const error_code& error) {
  limit_.cancel();
  if (error || !socket_.is_open()) {
    tryNext();
  } else {
    finish(std::move(socket_));
  }
}

void Dialer::finish(std::optional<tcp::socket> socket) {
  const auto done = std::exchange(done_, nullptr);
  if (done) done(std::move(socket));
}

}  // namespace tessaline::platform
