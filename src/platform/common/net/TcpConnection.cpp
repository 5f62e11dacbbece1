#include "platform/common/net/TcpConnection.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <cassert>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/Addresses.h"
#include "platform/common/net/ConnectionHandle.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {
// From the start to the end of the TLS handshake.
constexpr auto kHandshakeLimit = std::chrono::seconds(10);
// First buffer of a receive, bytes; it doubles until the maximum as data really arrives.
constexpr std::size_t kFirstBuffer = std::size_t{64} * 1024;
// How much, and how long, a finishing connection reads to let the peer take what was sent: more
// than any honest page request, less than a nuisance.
constexpr std::size_t kFinishBytes = std::size_t{4} * 1024 * 1024;
constexpr auto kFinishTime = std::chrono::seconds(10);
constexpr std::size_t kDropBuffer = std::size_t{16} * 1024;  // bytes

/// Many peers close an encrypted stream without saying so first.
bool isEndOfStream(const error_code& error) {
  return error == asio::error::eof || error == asio::ssl::error::stream_truncated;
}
}  // namespace

std::shared_ptr<Connection> TcpConnection::dial(std::shared_ptr<Dialer> dialer,
                                                std::shared_ptr<Queue> queue) {
  auto connection =
      std::make_shared<TcpConnection>(tcp::socket(AsioQueue::executorOf(*queue)), nullptr);
  connection->queue_ = std::move(queue);
  connection->dialer_ = std::move(dialer);
  return makeConnectionHandle<Connection>(std::move(connection));
}

std::shared_ptr<Connection> TcpConnection::accepted(tcp::socket socket,
                                                    std::shared_ptr<Queue> queue,
                                                    std::shared_ptr<const TlsIdentity> identity) {
  auto connection = std::make_shared<TcpConnection>(std::move(socket), std::move(identity));
  connection->queue_ = std::move(queue);
  return makeConnectionHandle<Connection>(std::move(connection));
}

TcpConnection::TcpConnection(tcp::socket socket, std::shared_ptr<const TlsIdentity> identity)
    : executor_(socket.get_executor()),
      stream_(std::move(socket), std::move(identity)),
      limit_(executor_),
      remote_(remoteEndpointOf(stream_.socket())) {}

std::optional<NetworkPath> TcpConnection::path() const {
  return pathOf(stream_.socket());
}

void TcpConnection::start(StateHandler handler) {
  assertCurrent();
  reporter_.start(std::move(handler));
  later([self = shared_from_this()] { self->begin(); });
}

void TcpConnection::begin() {
  if (!reporter_.begin()) return;
  if (stream_.encrypted()) {
    handshake();
    return;
  }
  if (!dialer_) {
    becomeReady();
    return;
  }
  dialer_->start([weak = weak_from_this()](std::optional<tcp::socket> socket) {
    const auto self = weak.lock();
    if (!self || self->reporter_.ended()) return;
    if (!socket) {
      self->reporter_.report(ConnectionState::waiting);
      return;
    }
    self->stream_.socket() = std::move(*socket);
    self->remote_ = remoteEndpointOf(self->stream_.socket());
    self->becomeReady();
  });
}

void TcpConnection::handshake() {
  limit_.expires_after(kHandshakeLimit);
  limit_.async_wait([self = shared_from_this()](const error_code& cancelled) {
    if (!cancelled && !self->ready_) self->end(ConnectionState::failed);
  });
  stream_.handshake([self = shared_from_this()](const error_code& error) {
    if (self->reporter_.ended()) return;
    self->limit_.cancel();
    if (error) {
      self->end(ConnectionState::failed);
    } else {
      self->becomeReady();
    }
  });
}

void TcpConnection::becomeReady() {
  ready_ = true;
  reporter_.report(ConnectionState::ready);
  writeNext();
  if (receive_ && !reading_) readMore();
}

void TcpConnection::cancel() {
  later([self = shared_from_this()] { self->end(ConnectionState::cancelled); });
}

std::shared_ptr<Queue> TcpConnection::letGo() {
  later([self = shared_from_this()] {
    if (!self->finishing_) self->end(ConnectionState::cancelled);
  });
  return std::exchange(queue_, nullptr);
}

void TcpConnection::send(std::vector<SharedBytes> parts, Done done) {
  assertCurrent();
  if (reporter_.ended() || finishing_) {
    if (done) later([done = std::move(done)] { done(false); });
    return;
  }
  sends_.push(std::move(parts), std::move(done));
  writeNext();
}

void TcpConnection::writeNext() {
  if (!ready_) return;
  const auto buffers = sends_.next();
  if (!buffers) return;
  asio::async_write(stream_, *buffers,
                    [self = shared_from_this()](const error_code& error, std::size_t) {
                      if (self->reporter_.ended()) return;
                      if (error) {
                        self->end(ConnectionState::failed);
                        return;
                      }
                      self->sends_.written();
                      self->writeNext();
                      if (self->finishing_) self->endStreamWhenWritten();
                    });
}

void TcpConnection::receive(std::size_t minimum, std::size_t maximum,
                            std::function<void(Received)> done) {
  assertCurrent();
  assert(maximum > 0 && minimum <= maximum);
  if (reporter_.ended() || finishing_) {
    later([done = std::move(done)] { done({.bytes = {}, .complete = false, .failed = true}); });
    return;
  }
  assert(!receive_ && "one receive at a time");
  receive_ = Receive{std::max<std::size_t>(minimum, 1), maximum, std::move(done), {}, 0};
  if (ready_) readMore();
}

void TcpConnection::readMore() {
  auto& bytes = receive_->bytes;
  const std::size_t filled = receive_->filled;
  if (filled == bytes.size()) {
    bytes.resize(std::min(receive_->maximum, std::max(kFirstBuffer, 2 * filled)));
  }
  reading_ = true;
  stream_.async_read_some(asio::buffer(bytes) + filled,
                          [self = shared_from_this()](const error_code& error, std::size_t count) {
                            self->reading_ = false;
                            if (self->reporter_.ended()) {
                              self->receive_.reset();
                            } else {
                              self->onRead(error, count);
                            }
                          });
}

void TcpConnection::onRead(const error_code& error, std::size_t count) {
  if (finishing_) {
    onDrained(error, count);
    return;
  }
  receive_->filled += count;
  if (isEndOfStream(error)) {
    deliver(true);
  } else if (error) {
    end(ConnectionState::failed);
  } else if (receive_->filled < receive_->minimum) {
    readMore();
  } else {
    deliver(false);
  }
}

void TcpConnection::deliver(bool complete) {
  auto receive = std::move(*receive_);
  receive_.reset();
  receive.bytes.resize(receive.filled);
  receive.done({.bytes = std::move(receive.bytes), .complete = complete, .failed = false});
}

void TcpConnection::finish() {
  assertCurrent();
  if (reporter_.ended() || finishing_) return;
  if (!ready_) {
    cancel();
    return;
  }
  finishing_ = true;
  if (receive_) {
    later([done = std::exchange(receive_->done, nullptr)] {
      done({.bytes = {}, .complete = false, .failed = true});
    });
  }
  limit_.expires_after(kFinishTime);
  limit_.async_wait([self = shared_from_this()](const error_code& cancelled) {
    if (!cancelled) self->end(ConnectionState::cancelled);
  });
  // A peer that first wants to be rid of its own bytes reads nothing until somebody takes them.
  if (!reading_) drain();
  endStreamWhenWritten();
}

void TcpConnection::drain() {
  dropped_.resize(kDropBuffer);
  reading_ = true;
  stream_.async_read_some(asio::buffer(dropped_),
                          [self = shared_from_this()](const error_code& error, std::size_t count) {
                            self->reading_ = false;
                            if (!self->reporter_.ended()) self->onDrained(error, count);
                          });
}

void TcpConnection::onDrained(const error_code& error, std::size_t count) {
  droppedBytes_ += count;
  if (isEndOfStream(error)) {
    peerEnded_ = true;
    if (endSent_) end(ConnectionState::cancelled);
  } else if (error || droppedBytes_ > kFinishBytes) {
    end(ConnectionState::cancelled);
  } else {
    drain();
  }
}

void TcpConnection::endStreamWhenWritten() {
  if (!sends_.empty() || std::exchange(sendingEnd_, true)) return;
  stream_.sendEnd([self = shared_from_this()] {
    if (self->reporter_.ended()) return;
    self->endSent_ = true;
    if (self->peerEnded_) self->end(ConnectionState::cancelled);
  });
}

void TcpConnection::end(ConnectionState final) {
  if (!reporter_.end(final)) return;
  error_code ignored;
  stream_.socket().close(ignored);
  limit_.cancel();
  if (dialer_) dialer_->cancel();
  dialer_.reset();
  sends_.failAll();
  const auto received = receive_ ? std::exchange(receive_->done, nullptr) : nullptr;
  if (!reading_) receive_.reset();
  if (received) received({.bytes = {}, .complete = false, .failed = true});
  reporter_.tellEnd();
}

void TcpConnection::later(std::function<void()> work) {
  asio::post(executor_, std::move(work));
}

void TcpConnection::assertCurrent() const {
  queue_->assertCurrent();
}

}  // namespace tessaline::platform
