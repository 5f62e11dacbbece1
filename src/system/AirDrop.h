#pragma once

#include <string>
#include <string_view>

#include "platform/SystemCommands.h"

namespace tessaline {

/// The radio link that neighbouring Macs hold for AirDrop. It takes the Wi-Fi away from the video
/// for moments, so it can be switched off and on. That needs root rights: a rule for sudo,
/// installed once with the user's approval, allows exactly these two commands. Where the system has
/// no such link (anything but a Mac), it is inactive and `set` does nothing. Has no state; callable
/// from any thread, and what runs commands blocks it.
class AirDrop {
 public:
  static constexpr std::string_view sudoersPath = "/etc/sudoers.d/tessaline";
  /// An older rule that still counts as installed.
  static constexpr std::string_view legacySudoersPath = "/etc/sudoers.d/quillfern";

  /// `commands` outlives this object.
  explicit AirDrop(platform::SystemCommands& commands) : commands_(commands) {}

  /// The system has such a link at all.
  [[nodiscard]] bool exists() const;
  [[nodiscard]] bool isActive() const;
  [[nodiscard]] bool helperInstalled() const;
  /// Installs the rule; the system asks for the administrator's password. False without doing
  /// anything for a user name that cannot stand in a shell line and a rule, and when refused.
  bool installHelper() const;
  void uninstallHelper() const;
  /// Switches the link. Without the rule, switching it off asks for the password each time, and
  /// switching it on does nothing: no dialog ever appears just to end a pause.
  void set(bool enabled) const;

 private:
  bool runAsAdmin(std::string_view script) const;

  platform::SystemCommands& commands_;
};

}  // namespace tessaline
