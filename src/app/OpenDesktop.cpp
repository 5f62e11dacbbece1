#include "app/OpenDesktop.h"

#include <cstdlib>
#include <string_view>

#include "app/DesktopChoice.h"
#include "platform/linux/x11/X11Desktop.h"

namespace tessaline {
namespace {

constexpr std::string_view kDesktopKey = "desktop";

bool isSet(const char* variable) {
  const char* const value = std::getenv(variable);
  return value && *value;
}

}  // namespace

std::unique_ptr<platform::DesktopEnvironment> openDesktop(Queues& queues,
                                                          const UserDefaults& defaults) {
  std::vector<DesktopChoice::Way> ways;
  const auto wanted = defaults.string(kDesktopKey);
  // An X server inside a Wayland session shows windows, but cannot give the session a display.
  const bool wayland = isSet("WAYLAND_DISPLAY");
  if (!wayland || wanted) {
    ways.push_back({"x11", "the X server", [&] { return platform::openX11Desktop(queues); }});
  }
  return DesktopChoice::open(ways, wanted);
}

}  // namespace tessaline
