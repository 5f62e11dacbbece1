#include "platform/common/net/TlsIdentity.h"

#include <boost/asio/error.hpp>
#include <string>

#include "base/Log.h"

namespace tessaline::platform {
namespace {

// Strangers can fail as often as they like: one line tells what kind of trouble there is.
constexpr auto kLogInterval = std::chrono::minutes(1);

}  // namespace

void TlsIdentity::reportFailure(const boost::system::error_code& error) const {
  // Silent peers, and those that look whether the port is open.
  if (error.category() != boost::asio::error::get_ssl_category()) return;
  {
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    if (reported_ && now - *reported_ < kLogInterval) return;
    reported_ = now;
  }
  log("a device could not connect over HTTPS: " + error.message());
}

}  // namespace tessaline::platform
