#include <gmock/gmock.h>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>

#include "Loopback.h"

namespace tessaline::platform::test {
namespace {

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using ::testing::ElementsAre;
using ::testing::StartsWith;
using State = ConnectionState;
using Browser = websocket::stream<tcp::socket>;
using Server = Owner<WebSocketConnection>;
using Message = WebSocketConnection::Message;
using Opcode = WebSocketConnection::Opcode;

class WebSocketTest : public Loopback {
 protected:
  WebSocketTest() : listener_(listenWebSocket()) {}

  /// A connected browser; `server_` is the other end, ready.
  Browser browser() {
    Browser made(client(*listener_));
    server_ = webSockets_.next();
    server_->start();
    made.handshake("localhost", "/");
    made.binary(true);
    EXPECT_TRUE(server_->reached(State::ready));
    return made;
  }
  /// Arms one receive; `received` waits for its result.
  void arm() {
    result_.reset();
    server_->connection->queue()->sync([&] {
      server_->connection->receive(
          [this, weak = std::weak_ptr(server_)](std::optional<Message> message) {
            const auto server = weak.lock();
            if (server) server->update([&] { result_ = std::move(message); });
          });
    });
  }
  std::optional<Message> received() {
    EXPECT_TRUE(server_->wait([&] { return result_.has_value(); }));
    return result_.value_or(std::nullopt);
  }
  /// Why the server says that it closes.
  static std::uint16_t closeCode(Browser& peer) {
    error_code error;
    beast::flat_buffer buffer;
    peer.read(buffer, error);
    EXPECT_EQ(error, websocket::error::closed);
    return peer.reason().code;
  }
  /// What `request` on a fresh connection is answered before the server closes.
  std::string answerTo(const std::string& request) {
    auto peer = client(*listener_);
    server_ = webSockets_.next();
    server_->start();
    asio::write(peer, asio::buffer(request));
    error_code error;
    const auto answer = readToEnd(peer, error);
    EXPECT_EQ(error, asio::error::eof);
    peer.close();
    EXPECT_TRUE(server_->reached(State::failed));
    EXPECT_THAT(server_->states, ElementsAre(State::preparing, State::failed));
    return {answer.begin(), answer.end()};
  }

  std::unique_ptr<Listener> listener_;
  std::shared_ptr<Server> server_;
  std::optional<std::optional<Message>> result_;
};

TEST_F(WebSocketTest, RequestsThatAreNoUpgradeGetAnHttpAnswer) {
  const std::string upgrade =
      "GET / HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n";
  EXPECT_THAT(answerTo("POST / HTTP/1.1\r\nContent-Length: 9000\r\n\r\n" + std::string(9000, 'x')),
              StartsWith("HTTP/1.1 426 "));
  EXPECT_THAT(answerTo(std::string(1'000'000, '\x16')), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answerTo(upgrade + "Cookie: " + std::string(20'000, 'c') + "\r\n\r\n"),
              StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(answerTo(upgrade + "Sec-WebSocket-Version: 8\r\nSec-WebSocket-Key: "
                                 "dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n"),
              StartsWith("HTTP/1.1 4"));
}

TEST_F(WebSocketTest, OversizedMessagesCloseWithTheirOwnCode) {
  {
    auto peer = browser();
    arm();
    peer.write(asio::buffer(*pattern(65'536)));
    const auto allowed = received();
    EXPECT_TRUE(allowed && allowed->opcode == Opcode::binary);
  }
  // Whole and in fragments, of which the peer never sends the last.
  for (const bool whole : {true, false}) {
    auto peer = browser();
    arm();
    const auto fragment = pattern(whole ? 65'536 + 1 : 1000);
    for (int i = 0; i < (whole ? 1 : 66); ++i) peer.write_some(whole, asio::buffer(*fragment));
    EXPECT_EQ(closeCode(peer), websocket::close_code::too_big);
    EXPECT_FALSE(received());
    EXPECT_TRUE(server_->reached(State::failed));
  }
}

TEST_F(WebSocketTest, BacklogOfASlowBrowserStaysInTheProcessAndIsReleasedByCancel) {
  auto peer = browser();
  expectBacklogStays(*server_);
}

TEST_F(WebSocketTest, PeersThatLeaveAtOddTimesEndTheirConnectionOnce) {
  using Leave = std::function<void(Browser&)>;
  const std::vector<std::pair<const char*, Leave>> ways = {
      {"orderly", [](Browser& peer) { peer.close(websocket::close_code::normal); }},
      {"reset",
       [](Browser& peer) {
         peer.next_layer().set_option(asio::socket_base::linger(true, 0));
         peer.next_layer().close();
       }},
      {"inside a frame's header",
       [](Browser& peer) {
         asio::write(peer.next_layer(), asio::buffer(std::string("\x82\xFE\x10", 3)));
         peer.next_layer().close();
       }},
      {"unmasked frame",
       [](Browser& peer) {
         asio::write(peer.next_layer(), asio::buffer(std::string("\x82\x01x")));
         EXPECT_EQ(closeCode(peer), websocket::close_code::protocol_error);
       }},
      {"text that is no UTF-8",
       [](Browser& peer) {
         peer.text(true);
         peer.write(asio::buffer(std::string("\xC0\xFF")));
         EXPECT_EQ(closeCode(peer), websocket::close_code::bad_payload);
       }},
  };
  for (const auto& [name, leave] : ways) {
    SCOPED_TRACE(name);
    auto peer = browser();
    arm();
    leave(peer);
    EXPECT_FALSE(received());
    EXPECT_TRUE(server_->reached(State::failed));
    EXPECT_THAT(server_->states, ElementsAre(State::preparing, State::ready, State::failed));
  }
}

}  // namespace
}  // namespace tessaline::platform::test
