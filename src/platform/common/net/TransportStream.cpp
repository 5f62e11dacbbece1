#include "platform/common/net/TransportStream.h"

namespace tessaline::platform {

namespace ssl = boost::asio::ssl;
using boost::system::error_code;

TransportStream::TransportStream(Socket socket, std::shared_ptr<const TlsIdentity> identity)
    : socket_(std::move(socket)), identity_(std::move(identity)) {
  if (identity_) tls_.emplace(socket_, identity_->context());
}

void TransportStream::handshake(Done done) {
  tls_->async_handshake(ssl::stream_base::server,
                        [this, done = std::move(done)](const error_code& error) {
                          if (error) identity_->reportFailure(error);
                          done(error);
                        });
}

void TransportStream::sendEnd(std::function<void()> done) {
  auto endSocket = [this, done = std::move(done)](const error_code&) {
    error_code ignored;
    socket_.shutdown(Socket::shutdown_send, ignored);
    done();
  };
  if (!tls_) {
    endSocket({});
    return;
  }
  // OpenSSL's orderly end takes what a peer still sends for an error. Told that the peer has ended
  // too, it only sends its own end, at once; then the peer may go on.
  SSL* const state = tls_->native_handle();
  SSL_set_shutdown(state, SSL_RECEIVED_SHUTDOWN);
  tls_->async_shutdown(std::move(endSocket));
  SSL_set_shutdown(state, SSL_SENT_SHUTDOWN);
}

}  // namespace tessaline::platform
