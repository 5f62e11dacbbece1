#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <map>

#include "platform/linux/wayland/portal/PortalDesktop.h"
#include "platform/linux/wayland/portal/PortalNames.h"

namespace tessaline::platform {
namespace {

using Properties = std::map<std::string, sdbus::Variant>;

std::uint32_t number(const Properties& properties, const char* name) {
  const auto found = properties.find(name);
  return found != properties.end() && found->second.containsValueOfType<std::uint32_t>()
             ? found->second.get<std::uint32_t>()
             : 0;
}

Properties ask(sdbus::IProxy& portal, const char* interface, std::chrono::milliseconds patience) {
  Properties properties;
  const std::string method = "GetAll";  // the call keeps a reference to it
  portal.callMethod(method)
      .onInterface("org.freedesktop.DBus.Properties")
      .withTimeout(patience)
      .withArguments(std::string(interface))
      .storeResultsTo(properties);
  return properties;
}

}  // namespace

std::optional<std::string> portalObstacle(std::chrono::milliseconds patience) {
  try {
    const auto connection = sdbus::createSessionBusConnection();
    const auto portal = sdbus::createProxy(*connection, PortalNames::kService, PortalNames::kPath);
    const auto cast = ask(*portal, PortalNames::kScreenCast, patience);
    if (!(number(cast, "AvailableSourceTypes") & PortalNames::kVirtualSource)) {
      return "This desktop's portal offers no extra displays.";
    }
    if (number(ask(*portal, PortalNames::kRemoteDesktop, patience), "version") == 0) {
      return "This desktop's portal offers no remote desktop.";
    }
    return std::nullopt;
  } catch (const sdbus::Error& error) {
    return "There is no desktop portal here: " + error.getMessage() + ".";
  }
}

}  // namespace tessaline::platform
