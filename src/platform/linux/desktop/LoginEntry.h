#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tessaline::platform {

/// The XDG autostart entry that has the desktop start a program at each login. Plain functions over
/// files; failures are silent and `exists` says what is true.
struct LoginEntry {
  /// `$XDG_CONFIG_HOME/autostart/<label>.desktop`.
  [[nodiscard]] static std::filesystem::path file(std::string_view label);
  [[nodiscard]] static bool exists(std::string_view label);
  /// Written completely or not at all.
  static void write(std::string_view label, const std::string& executable);
  static void remove(std::string_view label);

  /// What the entry says for a program at this path, whatever characters the path has.
  [[nodiscard]] static std::string text(const std::string& executable);
};

}  // namespace tessaline::platform
