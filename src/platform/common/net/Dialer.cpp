#include "platform/common/net/Dialer.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/common/net/Addresses.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

// What all addresses together get, so that the last still has its turn within a link's five
// seconds, and the share of one: long enough for one repeated connection request, never less than a
// slow home network takes.
constexpr auto kAllAttempts = std::chrono::milliseconds(3000);
constexpr auto kLongestAttempt = std::chrono::milliseconds(1500);
constexpr auto kShortestAttempt = std::chrono::milliseconds(300);
// More than any computer has on one network; the rest is somebody's nuisance.
constexpr std::size_t kMaxAddresses = 12;

std::chrono::milliseconds attemptLimit(std::size_t addresses) {
  return std::clamp(kAllAttempts / static_cast<int>(addresses), kShortestAttempt, kLongestAttempt);
}

/// The system's resolver for a host's name. Kept alive by the question under way.
void resolveHost(const boost::asio::any_io_executor& executor, const Endpoint& endpoint,
                 std::function<void(std::vector<Endpoint>)> answer) {
  const auto resolver = std::make_shared<tcp::resolver>(executor);
  resolver->async_resolve(
      endpoint.host, std::to_string(endpoint.port), tcp::resolver::numeric_service,
      [resolver, answer = std::move(answer)](const error_code& error,
                                             const tcp::resolver::results_type& all) {
        std::vector<Endpoint> endpoints;
        if (!error) {
          for (const auto& entry : all) {
            endpoints.push_back({entry.endpoint().address().to_string(), entry.endpoint().port()});
          }
        }
        answer(std::move(endpoints));
      });
}

}  // namespace

Dialer::Dialer(const boost::asio::any_io_executor& executor, LookUp lookUp)
    : lookUp_(std::move(lookUp)), socket_(executor), limit_(executor) {}

std::shared_ptr<Dialer> Dialer::toHost(const boost::asio::any_io_executor& executor,
                                       const Endpoint& endpoint) {
  return std::make_shared<Dialer>(executor, [executor, endpoint](auto answer) {
    if (numericAddress(endpoint.host)) {
      answer({endpoint});
    } else {
      resolveHost(executor, endpoint, std::move(answer));
    }
  });
}

void Dialer::start(Done done) {
  done_ = std::move(done);
  const auto lookUp = std::exchange(lookUp_, nullptr);
  lookUp([self = shared_from_this()](const std::vector<Endpoint>& endpoints) {
    self->found(endpoints);
  });
}

void Dialer::cancel() {
  done_ = nullptr;
  error_code ignored;
  socket_.close(ignored);
  limit_.cancel();
}

void Dialer::found(const std::vector<Endpoint>& endpoints) {
  for (const auto& endpoint : endpoints) {
    const auto address = numericAddress(endpoint.host);
    if (address && addresses_.size() < kMaxAddresses) {
      addresses_.emplace_back(*address, endpoint.port);
    }
  }
  tryNext();
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
    limit_.expires_after(attemptLimit(addresses_.size()));
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
