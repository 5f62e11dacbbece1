#include "system/AirDrop.h"

#include <algorithm>

namespace tessaline {
namespace {

const std::string kInterface = "awdl0";
constexpr unsigned kInterfaceUp = 1;

/// Letters, digits, '_', '.' and '-' of ASCII, whatever the locale says.
bool harmless(std::string_view name) {
  const auto allowed = [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '-';
  };
  return !name.empty() && std::ranges::all_of(name, allowed);
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\' || c == '"') result += '\\';
    result += c;
  }
  return result;
}

}  // namespace

bool AirDrop::exists() const {
  return commands_.interfaceFlags(kInterface).has_value();
}

bool AirDrop::isActive() const {
  return (commands_.interfaceFlags(kInterface).value_or(0) & kInterfaceUp) != 0;
}

bool AirDrop::helperInstalled() const {
  return commands_.fileExists(std::string(sudoersPath)) ||
         commands_.fileExists(std::string(legacySudoersPath));
}

bool AirDrop::installHelper() const {
  const std::string user = commands_.userName();
  if (!harmless(user)) return false;
  const std::string rule =
      user + " ALL=(root) NOPASSWD: /sbin/ifconfig awdl0 down, /sbin/ifconfig awdl0 up";
  // Written where only root can, and installed only when visudo accepts it: a broken rule would
  // lock everybody out of sudo.
  return runAsAdmin(
      R"(t=$(/usr/bin/mktemp /private/var/root/tessaline.XXXXXX) && printf '%s\n' ')" + rule +
      R"(' > "$t" && )" +
      R"(/usr/sbin/visudo -cf "$t" && /usr/bin/install -m 0440 -o root -g wheel "$t" )" +
      std::string(sudoersPath) + R"(; rm -f "$t")");
}

void AirDrop::uninstallHelper() const {
  runAsAdmin("rm -f " + std::string(sudoersPath));
}

void AirDrop::set(bool enabled) const {
  if (!exists()) return;
  if (helperInstalled()) {
    commands_.run("/usr/bin/sudo", {"-n", "/sbin/ifconfig", kInterface, enabled ? "up" : "down"});
  } else if (!enabled) {
    runAsAdmin("/sbin/ifconfig awdl0 down");
  }
}

bool AirDrop::runAsAdmin(std::string_view script) const {
  return commands_.runScript("do shell script \"" + escaped(script) +
                             "\" with administrator privileges");
}

}  // namespace tessaline
