#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/Result.h"
#include "platform/Network.h"

namespace tessaline::platform {

/// What the system's TLS library knows about keys and certificates. Stateless; callable from any
/// thread. Nothing secret appears in its texts.
class TransportSecurity {
 public:
  virtual ~TransportSecurity() = default;

  /// The private key and the certificate chain in a PKCS #12 bundle, for listeners.
  [[nodiscard]] virtual Result<std::shared_ptr<const TransportIdentity>> importIdentity(
      ByteView bundle, std::string_view password) = 0;

  /// What keeps the PEM text `chain` from serving `host` with the PEM private key `key`, nothing
  /// when it can: it has to begin with the certificate of that key, RSA, for that name, not
  /// expired, each certificate followed by its issuer's.
  [[nodiscard]] virtual std::optional<std::string> findFault(std::string_view chain,
                                                             std::string_view key,
                                                             const std::string& host) = 0;
};

}  // namespace tessaline::platform
