#include "app/DesktopChoice.h"

#include "base/Log.h"
#include "platform/linux/desktop/LimitedDesktop.h"

namespace tessaline {

std::unique_ptr<platform::DesktopEnvironment> DesktopChoice::open(
    const std::vector<Way>& ways, const std::optional<std::string>& wanted) {
  std::string missing;
  for (const Way& way : ways) {
    if (wanted && way.name != *wanted) continue;
    auto desktop = way.open();
    if (desktop) {
      log("extra displays: by " + way.what + (wanted ? ", as the setting \"desktop\" says" : "") +
          (missing.empty() ? "" : " (" + missing + ")"));
      return std::move(*desktop);
    }
    missing += (missing.empty() ? "" : "; ") + desktop.error();
  }
  if (missing.empty()) missing = wanted ? "there is no \"" + *wanted + "\" here" : "no desktop";
  std::string limitation = "This desktop cannot have extra screens: " + missing;
  log(limitation);
  return platform::createLimitedDesktop(std::move(limitation));
}

}  // namespace tessaline
