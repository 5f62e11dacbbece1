#include "platform/linux/desktop/ApplicationFolders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "base/Hashes.h"

namespace tessaline::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBusName = "app.tessaline";

fs::path homeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home == '/') return home;
  const passwd* entry = ::getpwuid(::getuid());
  return entry && entry->pw_dir ? fs::path(entry->pw_dir) : fs::path("/");
}

fs::path baseFolder(const char* variable, const fs::path& fallback) {
  const char* value = std::getenv(variable);
  return value && *value == '/' ? fs::path(value) : fallback;
}

/// The same folder under any spelling; it need not exist.
fs::path sameSpelling(const fs::path& folder) {
  std::error_code error;
  fs::path path = fs::weakly_canonical(folder, error);
  if (error) path = folder.lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

}  // namespace

ApplicationFolders ApplicationFolders::fromEnvironment() {
  const fs::path home = homeFolder();
  const fs::path defaultConfiguration = home / ".config";
  const fs::path configuration = baseFolder("XDG_CONFIG_HOME", defaultConfiguration);

  ApplicationFolders folders;
  folders.configuration = configuration / "tessaline";
  folders.support = baseFolder("XDG_DATA_HOME", home / ".local/share") / "Tessaline";
  folders.autostart = configuration / "autostart";
  folders.busName = kBusName;
  if (const fs::path own = sameSpelling(configuration); own != sameSpelling(defaultConfiguration)) {
    char suffix[20];
    std::snprintf(suffix, sizeof suffix, ".c%016llx",
                  static_cast<unsigned long long>(hashValueStable(own.native())));
    folders.busName += suffix;
  }
  return folders;
}

}  // namespace tessaline::platform
