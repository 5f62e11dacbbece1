#include "platform/common/net/Addresses.h"

#include <boost/asio/ip/address.hpp>

namespace tessaline::platform {

namespace ip = boost::asio::ip;

std::optional<ip::address> numericAddress(const std::string& text) {
  boost::system::error_code error;
  const auto address = ip::make_address(text, error);
  if (error) return std::nullopt;
  return address;
}

std::string plainAddress(ip::address address) {
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    address = ip::make_address_v4(ip::v4_mapped, address.to_v6());
  }
  return address.to_string();
}

std::optional<Endpoint> remoteEndpointOf(const ip::tcp::socket& socket) {
  boost::system::error_code error;
  const auto remote = socket.remote_endpoint(error);
  if (error) return std::nullopt;
  return Endpoint{plainAddress(remote.address()), remote.port()};
}

}  // namespace tessaline::platform
