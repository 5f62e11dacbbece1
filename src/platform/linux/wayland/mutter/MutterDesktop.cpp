#include "platform/linux/wayland/mutter/MutterDesktop.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <array>
#include <string>

namespace tessaline::platform {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;  // for the bus itself

constexpr std::array kServices = {"org.gnome.Mutter.DisplayConfig", "org.gnome.Mutter.ScreenCast",
                                  "org.gnome.Mutter.RemoteDesktop"};

}  // namespace

bool mutterServes() {
  try {
    const auto connection = sdbus::createSessionBusConnection();
    connection->setMethodCallTimeout(kPatience);
    const auto bus =
        sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    return std::ranges::all_of(kServices, [&](const char* service) {
      bool owned = false;
      bus->callMethod("NameHasOwner")
          .onInterface("org.freedesktop.DBus")
          .withArguments(std::string(service))
          .storeResultsTo(owned);
      return owned;
    });
  } catch (const sdbus::Error&) {
    return false;  // no bus, no Mutter
  }
}

Result<std::unique_ptr<DesktopEnvironment>> openMutterDesktop(Queues& /*queues*/) {
  return Failure{"not made yet"};
}

}  // namespace tessaline::platform
