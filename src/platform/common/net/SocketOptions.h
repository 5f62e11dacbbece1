#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>
#include <optional>
#include <string>

#include "platform/Network.h"

namespace tessaline::platform {

/// Settings that every socket of a kind gets. None of them is worth failing for: what a system does
/// not know is left out.

/// Keeps the descriptor out of child processes, where it would hold its port or its peer.
void keepFromChildren(int descriptor);

/// For connected and connecting TCP sockets alike.
void tuneStream(boost::asio::ip::tcp::socket& socket);

/// What the kernel knows of a TCP connection's way, nothing before it does.
[[nodiscard]] std::optional<NetworkPath> pathOf(const boost::asio::ip::tcp::socket& socket);

void tuneDatagrams(boost::asio::ip::udp::socket& socket);

/// Opening a socket for both address families failed because the system has no IPv6.
[[nodiscard]] bool lacksIPv6(const boost::system::error_code& error);

/// Why a port cannot be listened on, as people say it.
[[nodiscard]] std::string describePortError(std::uint16_t port,
                                            const boost::system::error_code& error);

}  // namespace tessaline::platform
