#pragma once

#include <memory>

#include "platform/HttpClient.h"

namespace tessaline::platform {

/// HTTPS by libcurl. The environment's usual words count: https_proxy and no_proxy, and
/// SSL_CERT_FILE for the authorities to trust instead of the system's.
[[nodiscard]] std::shared_ptr<HttpClient> createHttpClient();

}  // namespace tessaline::platform
