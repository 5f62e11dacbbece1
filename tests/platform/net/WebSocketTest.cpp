#include <gmock/gmock.h>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>

#include "Loopback.h"

namespace tessaline::platform::test {
namespace {

namespace beast = boost::beast;
namespace websocket = beast::websocket;
using ::testing::ElementsAre;
using ::testing::Pair;
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

TEST_F(WebSocketTest, CarriesMessagesBothWaysAndAnswersPings) {
  auto peer = browser();
  arm();
  std::string pong;
  peer.control_callback([&](websocket::frame_type type, beast::string_view payload) {
    if (type == websocket::frame_type::pong) pong = payload;
  });
  // A ping between the fragments of a message.
  peer.text(true);
  peer.write_some(false, asio::buffer(std::string("{\"w\":")));
  peer.ping("are you there");
  peer.write_some(false, asio::buffer(std::string("1170")));
  peer.write_some(true, asio::buffer(std::string("}")));
  const auto hello = received();
  ASSERT_TRUE(hello);
  EXPECT_EQ(hello->opcode, Opcode::text);
  EXPECT_EQ(viewText(hello->bytes), "{\"w\":1170}");

  const auto payload = pattern(300'000);
  server_->send({pattern(1), pattern(0), payload});
  beast::flat_buffer buffer;
  ASSERT_EQ(peer.read(buffer), 1 + payload->size());
  EXPECT_TRUE(peer.got_binary());
  const auto* bytes = static_cast<const std::uint8_t*>(buffer.data().data());
  EXPECT_TRUE(std::equal(payload->begin(), payload->end(), bytes + 1));
  EXPECT_EQ(pong, "are you there");
  EXPECT_TRUE(server_->answeredInOrder());
}

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

TEST_F(WebSocketTest, RefusedPeerThatStaysIsItsOwnersUntilItIsDrainedOrCancelled) {
  for (const bool cancels : {true, false}) {
    auto peer = client(*listener_);
    server_ = webSockets_.next();
    server_->start();
    asio::write(peer, asio::buffer(std::string("GET / HTTP/1.1\r\n\r\n")));
    error_code error;
    EXPECT_FALSE(readToEnd(peer, error).empty());
    asio::write(peer, asio::buffer(*pattern(100'000)));
    server_->connection->queue()->sync([] {});
    EXPECT_THAT(server_->states, ElementsAre(State::preparing));

    const auto final = cancels ? State::cancelled : State::failed;
    if (cancels) {
      server_->connection->cancel();
      EXPECT_TRUE(server_->reached(final));
    }
    // A closed socket answers a byte with a reset; an open one takes what it may.
    const auto more = pattern(cancels ? 1 : 100'000);
    error.clear();
    for (int i = 0; i < 1000 && !error; ++i) asio::write(peer, asio::buffer(*more), error);
    EXPECT_TRUE(error);
    EXPECT_TRUE(server_->reached(final));
    EXPECT_THAT(server_->states, ElementsAre(State::preparing, final));
  }
}

TEST_F(WebSocketTest, OversizedMessagesCloseWithTheirOwnCode) {
  {
    auto peer = browser();
    arm();
    peer.write(asio::buffer(*pattern(65'536)));
    const auto allowed = received();
    EXPECT_TRUE(allowed && allowed->opcode == Opcode::binary);
    server_->connection->queue()->sync(
        [&] { server_->connection->setMaximumMessageSize(1'000'000); });
    arm();
    peer.write(asio::buffer(*pattern(1'000'000)));
    const auto large = received();
    EXPECT_TRUE(large && large->bytes == *pattern(1'000'000));
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
  auto payload = pattern(100'000);
  const std::weak_ptr payloadLives = payload;
  for (int i = 0; i < 200; ++i) server_->send({pattern(1), payload});
  payload.reset();
  EXPECT_FALSE(server_->wait([&] { return server_->taken > kSwallowed; }, kMoment));
  server_->connection->cancel();
  EXPECT_TRUE(server_->answeredInOrder());
  EXPECT_THAT(server_->answers.back(), Pair(199, false));
  EXPECT_TRUE(server_->reached(State::cancelled));
  for (int i = 0; i < 1000 && !payloadLives.expired(); ++i) {
    server_->connection->queue()->sync([] {});
  }
  EXPECT_TRUE(payloadLives.expired());
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
    server_->send({pattern(10)});
    EXPECT_TRUE(server_->answeredInOrder());
    EXPECT_THAT(server_->answers, ElementsAre(Pair(0, false)));
    server_->connection->cancel();
    server_->connection->queue()->sync([] {});
    EXPECT_THAT(server_->states, ElementsAre(State::preparing, State::ready, State::failed));
  }
  auto peer = client(*listener_);
  const auto server = webSockets_.next();
  server->start();
  asio::write(peer, asio::buffer(std::string("GET / HTTP/1.1\r\nConne")));
  peer.close();
  EXPECT_TRUE(server->reached(State::failed));
}

}  // namespace
}  // namespace tessaline::platform::test
