#include "app/OpenDesktop.h"

#include <cstdlib>
#include <string_view>

#include "app/DesktopChoice.h"
#include "platform/linux/wayland/mutter/MutterDesktop.h"
#include "platform/linux/wayland/portal/PortalDesktop.h"
#include "platform/linux/wayland/wlroots/WlrootsDesktop.h"
#include "platform/linux/x11/X11Desktop.h"

namespace tessaline {
namespace {

constexpr std::string_view kDesktopKey = "desktop";

DesktopChoice::Opened openMutter(Queues& queues) {
  if (!platform::mutterServes()) return Failure{"it is not GNOME's compositor"};
  return platform::openMutterDesktop(queues);
}

bool isSet(const char* variable) {
  const char* const value = std::getenv(variable);
  return value && *value;
}

}  // namespace

std::unique_ptr<platform::DesktopEnvironment> openDesktop(Queues& queues,
                                                          const UserDefaults& defaults,
                                                          const std::filesystem::path& support) {
  std::vector<DesktopChoice::Way> ways;
  const auto wanted = defaults.string(kDesktopKey);
  // An X server inside a Wayland session shows windows, but cannot give the session a display.
  const bool wayland = isSet("WAYLAND_DISPLAY");
  if (!wayland || wanted) {
    ways.push_back({"x11", "the X server", [&] { return platform::openX11Desktop(queues); }});
  }
  if (wayland || wanted) {
    ways.push_back({"mutter", "the virtual monitors of GNOME's compositor",
                    [&] { return openMutter(queues); }});
    ways.push_back({"portal", "the desktop portal",
                    [&] { return platform::openPortalDesktop(queues, support); }});
    ways.push_back({"wlroots", "the protocols of the wlroots family",
                    [&] { return platform::openWlrootsDesktop(queues); }});
  }
  return DesktopChoice::open(ways, wanted);
}

}  // namespace tessaline
