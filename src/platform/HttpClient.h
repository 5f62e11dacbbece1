#pragma once

#include <stop_token>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"

namespace tessaline::platform {

/// Asks HTTPS servers whose certificate the system trusts. Callable from any thread.
class HttpClient {
 public:
  virtual ~HttpClient() = default;

  /// Posts a JSON text to `url` and blocks until the whole reply is there: its body, whatever the
  /// status. Redirects are not followed, other schemes than https are refused and endless replies
  /// are cut off with an error. Ends within `timeout`, and soon after `stop` is requested.
  [[nodiscard]] virtual Result<std::string> postJson(const std::string& url,
                                                     const std::string& body, Duration timeout,
                                                     std::stop_token stop) = 0;
};

}  // namespace tessaline::platform
