#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "platform/Network.h"
#include "platform/TransportSecurity.h"

namespace tessaline {

/// The private key and certificate that both listeners speak TLS with, as `DirectCertificate` left
/// them in the application's folder. A value; callable from any thread.
class TLSIdentity {
 public:
  using Identity = std::shared_ptr<const platform::TransportIdentity>;

  TLSIdentity(std::filesystem::path folder, std::shared_ptr<platform::TransportSecurity> security)
      : folder_(std::move(folder)), security_(std::move(security)) {}

  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
  /// Where the bundle of key and certificate is, and its password.
  [[nodiscard]] std::filesystem::path p12() const { return folder_ / "tls.p12"; }
  [[nodiscard]] std::filesystem::path password() const { return folder_ / "tls-password.txt"; }
  [[nodiscard]] std::filesystem::path host() const { return folder_ / "tls-host.txt"; }

  /// The name under which devices reach this computer, nothing before it has one.
  [[nodiscard]] std::optional<std::string> hostName() const;
  /// Nothing when there is none that works.
  [[nodiscard]] Identity load() const;

  /// For a listener: TLS 1.2 or later with `identity`, plain TCP without one.
  [[nodiscard]] static platform::ListenerParameters parameters(std::uint16_t port,
                                                               Identity identity) {
    return {.port = port, .identity = std::move(identity)};
  }

 private:
  std::filesystem::path folder_;
  std::shared_ptr<platform::TransportSecurity> security_;
};

}  // namespace tessaline
