#include <gmock/gmock.h>

#include <boost/asio/ssl.hpp>

#include "Loopback.h"
#include "platform/common/net/OpenSslSecurity.h"
#include "support/Certificates.h"

namespace tessaline::platform::test {
namespace {

namespace ssl = asio::ssl;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using State = ConnectionState;

constexpr const char* kHost = "computer.test";

/// Listeners with an identity, and clients that trust its authority and nothing else.
class TlsTest : public Loopback {
 protected:
  TlsTest() {
    const auto bundle = certificates_.identity(kHost);
    auto identity = createTransportSecurity()->importIdentity(bundle, "secret");
    EXPECT_TRUE(identity) << identity.error();
    parameters_.identity = *identity;
    pages_ = std::move(*network_->listen(parameters_, queues_.serial("l"), streams_.accept()));
    sockets_ = std::move(*network_->listenWebSocket(
        parameters_, queues_.serial("l"), [this] { return queues_.serial("web"); },
        webSockets_.accept()));
  }

  tessaline::test::Certificates certificates_;
  ListenerParameters parameters_;
  std::unique_ptr<Listener> pages_;
  std::unique_ptr<Listener> sockets_;
};

TEST_F(TlsTest, AStreamFinishesInOrderWithAPeerThatFirstSendsItsFill) {
  ssl::context trust(ssl::context::tls_client);
  trust.load_verify_file(certificates_.authority());
  trust.set_verify_mode(ssl::verify_peer);
  trust.set_verify_callback(ssl::host_name_verification(kHost));
  ssl::stream<tcp::socket> peer(client(*pages_), trust);
  const auto server = streams_.next();
  server->start();
  peer.handshake(ssl::stream_base::client);
  EXPECT_TRUE(server->reached(State::ready));
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
    auto socket = client(listener);
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
