#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tessaline::platform {

/// An IPv4 address of one of this computer's interfaces that are up; loopback is none.
struct InterfaceAddress {
  std::string interface;
  std::string address;
};

/// The address under which other devices most likely reach this computer: that of the interface
/// with the default route (`routed`) unless a bridge for containers or virtual machines owns it,
/// else the first that is no such bridge, else any.
[[nodiscard]] std::optional<std::string> chooseLocalAddress(
    const std::vector<InterfaceAddress>& addresses, const std::optional<std::string>& routed);

/// The same for this computer, now. Callable from any thread; nothing is sent.
[[nodiscard]] std::optional<std::string> findLocalIPv4Address();

}  // namespace tessaline::platform
