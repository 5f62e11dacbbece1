#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/udp.hpp>

namespace tessaline::platform {

/// Settings that every socket of a kind gets. None of them is worth failing for: what a system does
/// not know is left out.

/// Keeps the descriptor out of child processes, where it would hold its port or its peer.
void keepFromChildren(int descriptor);

/// For connected and connecting TCP sockets alike.
void tuneStream(boost::asio::ip::tcp::socket& socket);

void tuneDatagrams(boost::asio::ip::udp::socket& socket);

}  // namespace tessaline::platform
