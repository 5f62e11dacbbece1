#pragma once

#include <filesystem>
#include <string>

namespace tessaline::platform {

/// Where the application keeps its files, by the XDG base directory rules, and under which name its
/// processes find each other. Read once at start; plain values afterwards.
struct ApplicationFolders {
  std::filesystem::path configuration;  ///< settings and the instance lock
  std::filesystem::path support;        ///< certificates and other data
  std::filesystem::path autostart;      ///< what the desktop starts at each login
  /// The session bus name. An instance with a configuration folder of its own has a name of its
  /// own, so that two can share a bus.
  std::string busName;

  /// Reads HOME (or the password database), XDG_CONFIG_HOME and XDG_DATA_HOME. Relative paths in
  /// the two are ignored, as the rules demand.
  [[nodiscard]] static ApplicationFolders fromEnvironment();
};

}  // namespace tessaline::platform
