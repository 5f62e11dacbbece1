#include "platform/common/net/WebSocketServerConnection.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <cassert>
#include <string>
#include <utility>

#include "base/AsioQueue.h"
#include "platform/common/net/Addresses.h"
#include "platform/common/net/ConnectionHandle.h"
#include "platform/common/net/SocketOptions.h"

namespace tessaline::platform {

namespace asio = boost::asio;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

namespace {
// The whole request of an honest browser is below 2 KiB.
constexpr std::uint32_t kRequestBytes = 8 * 1024;
// From the start to the upgrade or to the end of a refusal; also how long an orderly end may take.
constexpr auto kHandshakeLimit = std::chrono::seconds(10);
// Bytes of one message until the owner knows the peer and allows more.
constexpr std::size_t kFirstMaximumMessage = std::size_t{64} * 1024;

// How much of what a refused peer still sends is read to let it take its answer: more than any
// honest request, less than a nuisance.
constexpr std::size_t kDropBytes = std::size_t{2} * 1024 * 1024;
constexpr std::size_t kDropBuffer = std::size_t{16} * 1024;  // bytes

constexpr std::string_view kBadRequest = "400 Bad Request\r\n";
constexpr std::string_view kUpgradeRequired =
    "426 Upgrade Required\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n";
}  // namespace

std::shared_ptr<WebSocketConnection> WebSocketServerConnection::accepted(
    tcp::socket socket, std::shared_ptr<Queue> queue, std::shared_ptr<const TlsIdentity> identity) {
  auto connection =
      std::make_shared<WebSocketServerConnection>(std::move(socket), std::move(identity));
  connection->queue_ = std::move(queue);
  return makeConnectionHandle<WebSocketConnection>(std::move(connection));
}

WebSocketServerConnection::WebSocketServerConnection(tcp::socket socket,
                                                     std::shared_ptr<const TlsIdentity> identity)
    : executor_(socket.get_executor()),
      stream_(std::move(socket), std::move(identity)),
      handshakeLimit_(executor_),
      remote_(remoteEndpointOf(stream_.next_layer().socket())),
      head_(kRequestBytes) {
  // No idle time-out and no pings of the library's own: the layer above knows better who is alive,
  // and a slow browser is.
  websocket::stream_base::timeout limits{};
  limits.handshake_timeout = kHandshakeLimit;
  limits.idle_timeout = websocket::stream_base::none();
  limits.keep_alive_pings = false;
  stream_.set_option(limits);
  stream_.auto_fragment(false);  // one frame for each message, written without a copy
  stream_.binary(true);
  setMaximumMessageSize(kFirstMaximumMessage);
}

std::optional<NetworkPath> WebSocketServerConnection::path() const {
  return pathOf(stream_.next_layer().socket());
}

void WebSocketServerConnection::start(StateHandler handler) {
  assertCurrent();
  reporter_.start(std::move(handler));
  later([self = shared_from_this()] { self->begin(); });
}

void WebSocketServerConnection::begin() {
  if (!reporter_.begin()) return;
  handshakeLimit_.expires_after(kHandshakeLimit);
  handshakeLimit_.async_wait([self = shared_from_this()](const error_code& cancelled) {
    if (!cancelled && !self->open_) self->end(ConnectionState::failed);
  });
  if (!stream_.next_layer().encrypted()) {
    readRequest();
    return;
  }
  stream_.next_layer().handshake([self = shared_from_this()](const error_code& error) {
    if (self->reporter_.ended()) return;
    if (error) {
      self->end(ConnectionState::failed);
    } else {
      self->readRequest();
    }
  });
}

void WebSocketServerConnection::readRequest() {
  request_.emplace();
  request_->header_limit(kRequestBytes);
  http::async_read_header(stream_.next_layer(), head_, *request_,
                          [self = shared_from_this()](const error_code& error, std::size_t) {
                            if (!self->reporter_.ended()) self->onRequest(error);
                          });
}

void WebSocketServerConnection::onRequest(const error_code& error) {
  if (error) {
    const bool gone = error == http::error::end_of_stream || error == http::error::partial_message;
    const error_code endOfStream = http::error::end_of_stream;
    if (!gone && error.category() == endOfStream.category()) {
      refuse(kBadRequest);
    } else {
      end(ConnectionState::failed);
    }
    return;
  }
  if (!websocket::is_upgrade(request_->get())) {
    refuse(kUpgradeRequired);
  } else if (head_.size() > 0) {
    refuse(kBadRequest);  // nothing may follow before the answer
  } else {
    upgrade();
  }
}

void WebSocketServerConnection::refuse(std::string_view statusAndHeaders) {
  const auto answer = std::make_shared<std::string>("HTTP/1.1 ");
  *answer += statusAndHeaders;
  *answer += "Content-Length: 0\r\nConnection: close\r\n\r\n";
  asio::async_write(stream_.next_layer(), asio::buffer(*answer),
                    [self = shared_from_this(), answer](const error_code& error, std::size_t) {
                      if (self->reporter_.ended()) return;
                      if (error) {
                        self->end(ConnectionState::failed);
                      } else {
                        self->finishRefusal();
                      }
                    });
}

// No state is reported until the peer is done with its answer: the owner counts the connection, and
// can cancel it, for as long as it holds a descriptor. `handshakeLimit_` bounds the time.
void WebSocketServerConnection::finishRefusal() {
  stream_.next_layer().sendEnd([self = shared_from_this()] {});
  incoming_.resize(kDropBuffer);
  drop();
}

void WebSocketServerConnection::drop() {
  stream_.next_layer().async_read_some(
      asio::buffer(incoming_),
      [self = shared_from_this()](const error_code& error, std::size_t count) {
        if (self->reporter_.ended()) return;
        self->droppedBytes_ += count;
        if (error || self->droppedBytes_ > kDropBytes) {
          self->end(ConnectionState::failed);
        } else {
          self->drop();
        }
      });
}

void WebSocketServerConnection::upgrade() {
  stream_.async_accept(request_->get(), [self = shared_from_this()](const error_code& error) {
    if (self->reporter_.ended()) return;
    if (error) {
      // The library has answered a request that is no proper upgrade.
      self->finishRefusal();
      return;
    }
    self->open_ = true;
    self->handshakeLimit_.cancel();
    self->request_.reset();
    self->head_ = {};
    self->reporter_.report(ConnectionState::ready);
    self->writeNext();
    if (self->receive_ && !self->incomingBuffer_) self->readMessage();
  });
}

void WebSocketServerConnection::cancel() {
  later([self = shared_from_this()] { self->end(ConnectionState::cancelled); });
}

std::shared_ptr<Queue> WebSocketServerConnection::letGo() {
  cancel();
  return std::exchange(queue_, nullptr);
}

void WebSocketServerConnection::setMaximumMessageSize(std::size_t bytes) {
  stream_.read_message_max(std::max<std::size_t>(bytes, 1));  // zero would be no limit
}

void WebSocketServerConnection::send(std::vector<SharedBytes> parts, Done done) {
  assertCurrent();
  if (reporter_.ended()) {
    if (done) later([done = std::move(done)] { done(false); });
    return;
  }
  sends_.push(std::move(parts), std::move(done));
  writeNext();
}

void WebSocketServerConnection::writeNext() {
  if (!open_) return;
  const auto buffers = sends_.next();
  if (!buffers) return;
  stream_.async_write(*buffers, [self = shared_from_this()](const error_code& error, std::size_t) {
    if (self->reporter_.ended()) return;
    if (error) {
      self->end(ConnectionState::failed);
      return;
    }
    self->sends_.written();
    self->writeNext();
  });
}

void WebSocketServerConnection::receive(std::function<void(std::optional<Message>)> done) {
  assertCurrent();
  if (reporter_.ended()) {
    later([done = std::move(done)] { done(std::nullopt); });
    return;
  }
  assert(!receive_ && "one receive at a time");
  receive_ = std::move(done);
  if (open_) readMessage();
}

void WebSocketServerConnection::readMessage() {
  incomingBuffer_.emplace(incoming_);
  stream_.async_read(*incomingBuffer_,
                     [self = shared_from_this()](const error_code& error, std::size_t) {
                       self->incomingBuffer_.reset();
                       auto bytes = std::exchange(self->incoming_, {});
                       if (!self->reporter_.ended()) self->onMessage(error, std::move(bytes));
                     });
}

void WebSocketServerConnection::onMessage(const error_code& error, Bytes bytes) {
  // The library has told the peer what was wrong and closed the stream in order.
  if (error) {
    end(ConnectionState::failed);
    return;
  }
  const auto done = std::exchange(receive_, nullptr);
  done(Message{stream_.got_text() ? Opcode::text : Opcode::binary, std::move(bytes)});
}

void WebSocketServerConnection::end(ConnectionState final) {
  if (!reporter_.end(final)) return;
  error_code ignored;
  stream_.next_layer().socket().close(ignored);
  handshakeLimit_.cancel();
  sends_.failAll();
  const auto receive = std::exchange(receive_, nullptr);
  if (receive) receive(std::nullopt);
  reporter_.tellEnd();
}

void WebSocketServerConnection::later(std::function<void()> work) {
  asio::post(executor_, std::move(work));
}

void WebSocketServerConnection::assertCurrent() const {
  if (queue_) queue_->assertCurrent();
}

}  // namespace tessaline::platform
