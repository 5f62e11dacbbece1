#pragma once

#include <memory>

#include "platform/TransportSecurity.h"

namespace tessaline::platform {

/// Keys and certificates by OpenSSL. Its identities are for the network of `createNetwork`.
[[nodiscard]] std::shared_ptr<TransportSecurity> createTransportSecurity();

}  // namespace tessaline::platform
