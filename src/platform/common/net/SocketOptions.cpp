#include "platform/common/net/SocketOptions.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <boost/asio/error.hpp>
#include <string_view>

namespace tessaline::platform {
namespace {

// A peer that acknowledges nothing for this long is gone, ms.
constexpr int kUserTimeout = 10'000;
// An idle connection is probed so that a dead peer is found in about the same time: first after
// this many seconds, then at this interval, this many times.
constexpr int kKeepAliveIdle = 4;
constexpr int kKeepAliveInterval = 2;
constexpr int kKeepAliveCount = 3;
// Unsent bytes the kernel may hold. At the default 25 Mbit/s this is 10 ms of video: little enough
// for the sender to notice a slow network at once, while even a gigabit link takes a quarter of a
// millisecond to empty it, longer than it takes to be woken for more.
constexpr int kUnsentBytes = 32 * 1024;
// Takes lost packets for what they are on a radio link, not for a full one: with 1 % lost and 40 ms
// there and back, the usual control gets 3 Mbit/s through. Without a right to it the usual one
// stays.
constexpr std::string_view kCongestionControl = "bbr";
// DSCP AF41, interactive video: Wi-Fi puts it into its video queue.
constexpr int kTrafficClass = 34 << 2;

void set(int descriptor, int level, int name, int value) {
  ::setsockopt(descriptor, level, name, &value, sizeof value);
}

void setTrafficClass(int descriptor) {
  // A dual-stack socket takes both: the first counts for IPv4 peers, the second for IPv6.
  set(descriptor, IPPROTO_IP, IP_TOS, kTrafficClass);
  set(descriptor, IPPROTO_IPV6, IPV6_TCLASS, kTrafficClass);
}

}  // namespace

void keepFromChildren(int descriptor) {
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

void tuneStream(boost::asio::ip::tcp::socket& socket) {
  const int descriptor = socket.native_handle();
  keepFromChildren(descriptor);
  setTrafficClass(descriptor);
  set(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  set(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
#ifdef TCP_KEEPIDLE
  set(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
#endif
  set(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveInterval);
  set(descriptor, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveCount);
#ifdef TCP_USER_TIMEOUT
  set(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeout);
#endif
  set(descriptor, IPPROTO_TCP, TCP_NOTSENT_LOWAT, kUnsentBytes);
#ifdef TCP_CONGESTION
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_CONGESTION, kCongestionControl.data(),
               static_cast<socklen_t>(kCongestionControl.size()));
#endif
}

std::optional<NetworkPath> pathOf(const boost::asio::ip::tcp::socket& socket) {
#ifdef TCP_INFO
  tcp_info info{};
  socklen_t size = sizeof info;
  // The descriptor of a closed socket is none.
  const auto descriptor = const_cast<boost::asio::ip::tcp::socket&>(socket).native_handle();
  if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && info.tcpi_rtt > 0) {
    return NetworkPath{std::chrono::microseconds(info.tcpi_rtt), info.tcpi_total_retrans};
  }
#endif
  return std::nullopt;
}

void tuneDatagrams(boost::asio::ip::udp::socket& socket) {
  keepFromChildren(socket.native_handle());
  setTrafficClass(socket.native_handle());
}

bool lacksIPv6(const boost::system::error_code& error) {
  return error == boost::asio::error::address_family_not_supported ||
         error == boost::system::errc::address_not_available;
}

std::string describePortError(std::uint16_t port, const boost::system::error_code& error) {
  std::string reason = error.message();
  if (error == boost::asio::error::address_in_use) reason = "address already in use";
  if (error == boost::asio::error::access_denied) reason = "permission denied";
  return "port " + std::to_string(port) + ": " + reason;
}

}  // namespace tessaline::platform
