#include "platform/linux/wayland/mutter/MutterDesktop.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/linux/desktop/SdBus.h"
#include "platform/linux/wayland/mutter/MutterDesktopEnvironment.h"
#include "platform/linux/wayland/mutter/MutterNames.h"

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;  // for the bus itself

constexpr std::array kServices = {MutterNames::kDisplayConfig, MutterNames::kScreenCast,
                                  MutterNames::kRemoteDesktop};

}  // namespace

bool mutterServes() {
  try {
    const auto connection = sdbus::createSessionBusConnection();
    connection->setMethodCallTimeout(kPatience);
    const auto proxy =
        bus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    return std::ranges::all_of(kServices, [&](const char* service) {
      bool owned = false;
      proxy->callMethod("NameHasOwner")
          .onInterface("org.freedesktop.DBus")
          .withArguments(std::string(service))
          .storeResultsTo(owned);
      return owned;
    });
  } catch (const sdbus::Error&) {
    return false;  // no bus, no Mutter
  }
}

Result<std::unique_ptr<DesktopEnvironment>> openMutterDesktop(Queues& queues) {
  return MutterDesktopEnvironment::open(queues);
}

}  // namespace tessaline::platform
