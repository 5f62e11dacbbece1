#include "platform/common/net/LocalAddress.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace tessaline::platform {
namespace {

// Names that Linux systems give to bridges and pairs of containers and virtual machines.
constexpr std::array<std::string_view, 8> kInternalPrefixes = {"docker", "veth", "br-",    "virbr",
                                                               "lxc",    "lxd",  "podman", "cni"};
// Any address outside this network selects the default route; this one is for documentation.
constexpr const char* kOutside = "203.0.113.1";

bool isInternal(const InterfaceAddress& entry) {
  return std::ranges::any_of(kInternalPrefixes, [&](std::string_view prefix) {
    return entry.interface.starts_with(prefix);
  });
}

std::string text(const in_addr& address) {
  std::array<char, INET_ADDRSTRLEN> buffer{};
  return ::inet_ntop(AF_INET, &address, buffer.data(), buffer.size());
}

std::vector<InterfaceAddress> interfaceAddresses() {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return {};
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, &::freeifaddrs);
  std::vector<InterfaceAddress> found;
  for (const auto* entry = list; entry; entry = entry->ifa_next) {
    if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET) continue;
    if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
    const auto& address = *reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    found.push_back({entry->ifa_name, text(address.sin_addr)});
  }
  return found;
}

/// The address that the default route sends from.
std::optional<std::string> routedAddress() {
  const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return std::nullopt;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);  // any port will do: connecting a datagram socket sends nothing
  ::inet_pton(AF_INET, kOutside, &address.sin_addr);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const bool found = ::connect(descriptor, generic, length) == 0 &&
                     ::getsockname(descriptor, generic, &length) == 0;
  ::close(descriptor);
  if (!found) return std::nullopt;
  return text(address.sin_addr);
}

}  // namespace

std::optional<std::string> chooseLocalAddress(const std::vector<InterfaceAddress>& addresses,
                                              const std::optional<std::string>& routed) {
  const auto hasRoute = [&](const auto& entry) { return routed && entry.address == *routed; };
  auto best = std::ranges::find_if(
      addresses, [&](const auto& entry) { return hasRoute(entry) && !isInternal(entry); });
  if (best == addresses.end()) best = std::ranges::find_if_not(addresses, isInternal);
  if (best == addresses.end()) best = std::ranges::find_if(addresses, hasRoute);
  if (best == addresses.end()) best = addresses.begin();
  if (best == addresses.end()) return std::nullopt;
  return best->address;
}

std::optional<std::string> findLocalIPv4Address() {
  return chooseLocalAddress(interfaceAddresses(), routedAddress());
}

}  // namespace tessaline::platform
