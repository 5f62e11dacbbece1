#include <gmock/gmock.h>

#include <boost/asio/ssl.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>

#include "Loopback.h"
#include "platform/common/net/OpenSslSecurity.h"
#include "support/Certificates.h"

namespace tessaline::platform::test {
namespace {

namespace ssl = asio::ssl;
namespace websocket = boost::beast::websocket;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using State = ConnectionState;

constexpr const char* kHost = "computer.test";

/// Listeners with an identity, and clients that trust its authority and nothing else.
class TlsTest : public Loopback {
 protected:
  using TlsClient = ssl::stream<tcp::socket>;

  static void SetUpTestSuite() { certificates_ = new tessaline::test::Certificates; }
  static void TearDownTestSuite() { delete certificates_; }

  TlsTest() {
    const auto bundle = certificates_->identity(kHost);
    auto identity = createTransportSecurity()->importIdentity(bundle, "secret");
    EXPECT_TRUE(identity) << identity.error();
    parameters_.identity = *identity;
    pages_ = std::move(*network_->listen(parameters_, queues_.serial("l"), streams_.accept()));
    sockets_ = std::move(*network_->listenWebSocket(
        parameters_, queues_.serial("l"), [this] { return queues_.serial("web"); },
        webSockets_.accept()));
    trust_.load_verify_file(certificates_->authority());
    trust_.set_verify_mode(ssl::verify_peer);
    trust_.set_verify_callback(ssl::host_name_verification(kHost));
  }
  template <typename Stream>
  void connect(Stream& stream, const Listener& listener) {
    boost::beast::get_lowest_layer(stream).connect(
        {asio::ip::address_v4::loopback(), listener.port()});
  }
  /// A client past its handshake; `owner` holds the server's end.
  template <typename Owned, typename C>
  TlsClient client(const Listener& listener, Accepted<C>& accepted, Owned& owner) {
    TlsClient peer(context_, trust_);
    connect(peer, listener);
    owner = accepted.next();
    owner->start();
    peer.handshake(ssl::stream_base::client);
    EXPECT_TRUE(owner->reached(State::ready));
    return peer;
  }

  static inline tessaline::test::Certificates* certificates_ = nullptr;
  ListenerParameters parameters_;
  std::unique_ptr<Listener> pages_;
  std::unique_ptr<Listener> sockets_;
  ssl::context trust_{ssl::context::tls_client};
};

TEST_F(TlsTest, AStreamFinishesInOrderWithAPeerThatFirstSendsItsFill) {
  std::shared_ptr<Owner<Connection>> server;
  auto peer = client(*pages_, streams_, server);
  Bytes request;
  server->connection->queue()->sync([&] {
    server->connection->receive(
        1, 65'536, [&, weak = std::weak_ptr(server)](const Connection::Received& received) {
          if (const auto self = weak.lock()) self->update([&] { request = received.bytes; });
        });
  });
  asio::write(peer, asio::buffer(std::string("GET /")));
  ASSERT_TRUE(server->wait([&] { return request.size() == 5; }));

  const auto answer = pattern(3'000'000);
  server->send({answer});
  server->connection->queue()->sync([&] { server->connection->finish(); });
  asio::write(peer, asio::buffer(std::string(1'000'000, 'x')));
  Bytes all;
  error_code error;
  asio::read(peer, asio::dynamic_buffer(all), error);
  EXPECT_EQ(error, asio::error::eof) << "the end has to be said, not merely to happen";
  EXPECT_TRUE(all == *answer);
  EXPECT_TRUE(server->answeredInOrder());
  peer.shutdown(error);
  peer.next_layer().close();
  EXPECT_TRUE(server->reached(State::cancelled));
}

TEST_F(TlsTest, WhatASlowPeerHasNotTakenStaysInTheProcess) {
  std::shared_ptr<Owner<Connection>> server;
  auto peer = client(*pages_, streams_, server);
  const auto payload = pattern(100'000);
  for (int i = 0; i < 200; ++i) server->send({pattern(1), payload});
  EXPECT_FALSE(server->wait([&] { return server->taken > kSwallowed; }, kMoment));
  Bytes all(20'000'200);
  asio::read(peer, asio::buffer(all));
  EXPECT_TRUE(server->answeredInOrder());
  for (std::size_t i = 0; i < 200; ++i) {
    ASSERT_TRUE(std::equal(payload->begin(), payload->end(),
                           all.begin() + static_cast<std::ptrdiff_t>(i * 100'001 + 1)));
  }
  peer.next_layer().close();
}

TEST_F(TlsTest, WebSocketsCarryMessagesAndSayWhyTheyEnd) {
  websocket::stream<TlsClient> browser(context_, trust_);
  connect(browser, *sockets_);
  const auto server = webSockets_.next();
  server->start();
  browser.next_layer().handshake(ssl::stream_base::client);
  browser.handshake(kHost, "/");
  ASSERT_TRUE(server->reached(State::ready));
  for (const std::size_t size : {std::size_t{1}, std::size_t{20'000}, std::size_t{1'000'000}}) {
    server->send({pattern(1, size), pattern(size, 7)});
    boost::beast::flat_buffer buffer;
    ASSERT_EQ(browser.read(buffer), size + 1);
    const auto* bytes = static_cast<const std::uint8_t*>(buffer.data().data());
    EXPECT_TRUE(std::equal(bytes + 1, bytes + 1 + size, pattern(size, 7)->begin()));
  }
  server->connection->queue()->sync([&] { server->connection->receive([](const auto&) {}); });
  browser.binary(true);
  browser.write(asio::buffer(*pattern(65'537)));  // more than a stranger may say at once
  boost::beast::flat_buffer buffer;
  error_code error;
  browser.read(buffer, error);
  EXPECT_EQ(error, websocket::error::closed);
  EXPECT_EQ(browser.reason().code, websocket::close_code::too_big);
  boost::beast::get_lowest_layer(browser).close();
  EXPECT_TRUE(server->reached(State::failed));
}

TEST_F(TlsTest, ARequestThatIsNoUpgradeGetsItsAnswer) {
  std::shared_ptr<Owner<WebSocketConnection>> server;
  TlsClient peer(context_, trust_);
  connect(peer, *sockets_);
  server = webSockets_.next();
  server->start();
  peer.handshake(ssl::stream_base::client);
  asio::write(peer, asio::buffer("POST / HTTP/1.1\r\n\r\n" + std::string(500'000, 'x')));
  std::string answer;
  error_code error;
  asio::read(peer, asio::dynamic_buffer(answer), error);
  EXPECT_EQ(error, asio::error::eof);
  EXPECT_THAT(answer, HasSubstr(" 426 "));
  peer.next_layer().close();
  EXPECT_TRUE(server->reached(State::failed));
  EXPECT_THAT(server->states, ElementsAre(State::preparing, State::failed));
}

TEST_F(TlsTest, WhoSpeaksNoTlsIsShownOutWithOneLine) {
  using Say = std::function<void(tcp::socket&)>;
  const std::vector<std::pair<const char*, Say>> strangers = {
      {"plain HTTP",
       [](tcp::socket& socket) {
         asio::write(socket, asio::buffer(std::string("GET / HTTP/1.1\r\nHost: x\r\n\r\n")));
       }},
      {"noise",
       [](tcp::socket& socket) { asio::write(socket, asio::buffer(std::string(5000, '\xA5'))); }},
      {"half a hello",
       [](tcp::socket& socket) {
         asio::write(socket, asio::buffer(std::string("\x16\x03\x01\x02\x00\x01\x00", 7)));
         socket.shutdown(tcp::socket::shutdown_send);
       }},
      {"an old version",
       [](tcp::socket& socket) {
         ssl::context old(ssl::context::tls_client);
         SSL_CTX_set_min_proto_version(old.native_handle(), TLS1_VERSION);
         SSL_CTX_set_max_proto_version(old.native_handle(), TLS1_1_VERSION);
         SSL_CTX_set_security_level(old.native_handle(), 0);
         ssl::stream<tcp::socket&> stream(socket, old);
         error_code error;
         stream.handshake(ssl::stream_base::client, error);
         EXPECT_TRUE(error);
       }},
      {"silence", [](tcp::socket& socket) { socket.shutdown(tcp::socket::shutdown_send); }},
  };
  ::testing::internal::CaptureStderr();
  const auto leave = [&](const Listener& listener, auto& accepted, const Say& say) {
    tcp::socket socket(context_);
    connect(socket, listener);
    const auto server = accepted.next();
    server->start();
    say(socket);
    EXPECT_TRUE(server->reached(State::failed));
    EXPECT_THAT(server->states, ElementsAre(State::preparing, State::failed));
    error_code error;
    readToEnd(socket, error);
    EXPECT_EQ(error, asio::error::eof);
  };
  for (const auto& [name, say] : strangers) {
    SCOPED_TRACE(name);
    leave(*pages_, streams_, say);
    leave(*sockets_, webSockets_, say);
  }
  const std::string logged = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(logged, '\n'), 1) << logged;
  EXPECT_THAT(logged, HasSubstr("http request"));
}

}  // namespace
}  // namespace tessaline::platform::test
