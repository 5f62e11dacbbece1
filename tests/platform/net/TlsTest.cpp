#include <gmock/gmock.h>

#include <boost/asio/ssl.hpp>

#include "Loopback.h"
#include "platform/common/net/OpenSslSecurity.h"
#include "support/Certificates.h"

namespace tessaline::platform::test {
namespace {

namespace ssl = asio::ssl;
using State = ConnectionState;

class TlsTest : public Loopback {};

void speakAnOldVersion(tcp::socket& socket) {
  ssl::context old(ssl::context::tls_client);
  SSL_CTX_set_min_proto_version(old.native_handle(), TLS1_VERSION);
  SSL_CTX_set_max_proto_version(old.native_handle(), TLS1_1_VERSION);
  SSL_CTX_set_security_level(old.native_handle(), 0);
  ssl::stream<tcp::socket&> stream(socket, old);
  error_code error;
  stream.handshake(ssl::stream_base::client, error);
  EXPECT_TRUE(error);
}

void say(tcp::socket& socket, const std::string& text) {
  asio::write(socket, asio::buffer(text));
  socket.shutdown(tcp::socket::shutdown_send);
}

TEST_F(TlsTest, WhoSpeaksNoTlsIsShownOutWithOneLine) {
  const tessaline::test::Certificates certificates;
  auto identity =
      createTransportSecurity()->importIdentity(certificates.identity("computer.test"), "secret");
  ASSERT_TRUE(identity) << identity.error();
  parameters_.identity = *identity;
  const auto pages = listen();
  const auto sockets = listenWebSocket();
  const std::pair<const char*, std::function<void(tcp::socket&)>> strangers[] = {
      {"plain HTTP", [](auto& socket) { say(socket, "GET / HTTP/1.1\r\nHost: x\r\n\r\n"); }},
      {"noise", [](auto& socket) { say(socket, std::string(5000, '\xA5')); }},
      {"half a hello",
       [](auto& socket) {
         say(socket, {"\x16\x03\x01\x02\x00\x01\x00", 7});
       }},
      {"silence", [](auto& socket) { say(socket, ""); }},
      {"an old version", speakAnOldVersion},
  };
  ::testing::internal::CaptureStderr();
  const auto leave = [&](const Listener& listener, auto& accepted, const auto& stranger) {
    auto socket = client(listener);
    const auto server = accepted.next();
    server->start();
    stranger(socket);
    EXPECT_TRUE(server->reached(State::failed));
    EXPECT_THAT(server->states, testing::ElementsAre(State::preparing, State::failed));
    error_code error;
    readToEnd(socket, error);
    EXPECT_EQ(error, asio::error::eof);
  };
  for (const auto& [name, stranger] : strangers) {
    SCOPED_TRACE(name);
    leave(*pages, streams_, stranger);
    leave(*sockets, webSockets_, stranger);
  }
  const std::string logged = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(logged, '\n'), 1) << logged;
}

}  // namespace
}  // namespace tessaline::platform::test
