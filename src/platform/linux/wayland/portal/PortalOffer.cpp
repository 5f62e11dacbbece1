#include "platform/linux/wayland/portal/PortalOffer.h"

#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/wayland/portal/PortalDesktop.h"
#include "platform/linux/wayland/portal/PortalNames.h"
#include "platform/linux/wayland/portal/PortalValues.h"

namespace tessaline::platform {
namespace {

std::uint32_t number(const PortalValues& values, const char* name) {
  return portalValue<std::uint32_t>(values, name).value_or(0);
}

PortalValues properties(sdbus::IProxy& portal, const char* interface,
                        std::chrono::milliseconds patience) {
  auto call = bus::methodCall(portal, "org.freedesktop.DBus.Properties", "GetAll");
  call << std::string(interface);
  const std::chrono::microseconds timeout = patience;
  auto reply = portal.callMethod(call, static_cast<std::uint64_t>(timeout.count()));
  PortalValues values;
  reply >> values;
  return values;
}

}  // namespace

Result<PortalOffer> PortalOffer::ask(std::chrono::milliseconds patience) {
  try {
    const auto connection = sdbus::createSessionBusConnection();
    const auto portal = bus::createProxy(*connection, PortalNames::kService, PortalNames::kPath);
    const auto cast = properties(*portal, PortalNames::kScreenCast, patience);
    const auto remote = properties(*portal, PortalNames::kRemoteDesktop, patience);
    if (!(number(cast, "AvailableSourceTypes") & PortalNames::kVirtualSource)) {
      return Failure{"This desktop's portal offers no extra displays."};
    }
    const PortalOffer offer{.devices = number(remote, "AvailableDeviceTypes"),
                            .cursorModes = number(cast, "AvailableCursorModes"),
                            .remoteDesktop = number(remote, "version")};
    if (offer.remoteDesktop == 0) {
      return Failure{"This desktop's portal lends no input devices."};
    }
    return offer;
  } catch (const sdbus::Error& error) {
    return Failure{"There is no desktop portal here: " + error.getMessage() + "."};
  }
}

std::optional<std::string> portalObstacle(std::chrono::milliseconds patience) {
  const auto offer = PortalOffer::ask(patience);
  if (offer) return std::nullopt;
  return offer.error();
}

}  // namespace tessaline::platform
