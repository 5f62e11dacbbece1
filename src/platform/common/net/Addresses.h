#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <optional>
#include <string>

#include "platform/Network.h"

namespace tessaline::platform {

/// `text` as an address, an IPv6 scope ("fe80::1%eth0") included; nothing when it is not numeric.
[[nodiscard]] std::optional<boost::asio::ip::address> numericAddress(const std::string& text);

/// An address as people write it: IPv4 that arrived through an IPv6 socket as plain IPv4,
/// link-local IPv6 with its scope.
[[nodiscard]] std::string plainAddress(boost::asio::ip::address address);

/// The peer of a connected socket, with its plain address. Nothing when the socket is not
/// connected.
[[nodiscard]] std::optional<Endpoint> remoteEndpointOf(const boost::asio::ip::tcp::socket& socket);

}  // namespace tessaline::platform
