#pragma once

#include <boost/asio/ssl/context.hpp>
#include <boost/system/error_code.hpp>
#include <mutex>
#include <optional>

#include "base/Queue.h"
#include "platform/Network.h"

namespace tessaline::platform {

/// A private key and its certificate chain with the settings of the TLS that is spoken with them.
/// Immutable but for its log's memory; shared by a listener and its connections, on any thread.
class TlsIdentity final : public TransportIdentity {
 public:
  explicit TlsIdentity(boost::asio::ssl::context context) : context_(std::move(context)) {}

  /// Each connection makes its own TLS state from it, and changes nothing.
  [[nodiscard]] boost::asio::ssl::context& context() const { return context_; }

  /// Logs why a peer could not agree on TLS, unless that was logged lately or the peer just left.
  void reportFailure(const boost::system::error_code& error) const;

 private:
  mutable boost::asio::ssl::context context_;
  mutable std::mutex mutex_;
  mutable std::optional<Clock::time_point> reported_;  // guarded by mutex_
};

}  // namespace tessaline::platform
