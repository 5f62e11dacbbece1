#include "shell/AppMode.h"

namespace tessaline {
namespace {

constexpr std::string_view kModeKey = "mode";

}  // namespace

std::optional<AppMode> AppMode::current(const UserDefaults& defaults) {
  const auto stored = defaults.string(kModeKey);
  for (const AppMode mode : {AppMode(main), AppMode(screen)}) {
    if (stored == mode.text()) return mode;
  }
  return std::nullopt;
}

void AppMode::setCurrent(UserDefaults& defaults, std::optional<AppMode> mode) {
  if (mode) {
    defaults.set(kModeKey, mode->text());
  } else {
    defaults.remove(kModeKey);
  }
}

}  // namespace tessaline
