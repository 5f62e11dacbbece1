#pragma once

#include <cstdint>

namespace tessaline::platform {

/// The names and numbers of the desktop portal's interfaces.
struct PortalNames {
  static constexpr const char* kService = "org.freedesktop.portal.Desktop";
  static constexpr const char* kPath = "/org/freedesktop/portal/desktop";
  static constexpr const char* kRequest = "org.freedesktop.portal.Request";
  static constexpr const char* kSession = "org.freedesktop.portal.Session";
  static constexpr const char* kScreenCast = "org.freedesktop.portal.ScreenCast";
  static constexpr const char* kRemoteDesktop = "org.freedesktop.portal.RemoteDesktop";
  static constexpr const char* kShortcuts = "org.freedesktop.portal.GlobalShortcuts";
  static constexpr const char* kRegistry = "org.freedesktop.host.portal.Registry";
  static constexpr const char* kApplication = "app.tessaline";

  static constexpr std::uint32_t kVirtualSource = 4;
  static constexpr std::uint32_t kPointerHidden = 1;  // cursor modes: in no way,
  static constexpr std::uint32_t kPointerApart = 4;   // told beside the picture
  static constexpr std::uint32_t kUntilRevoked = 2;   // a persist mode
  static constexpr std::uint32_t kAllDevices = 7;     // keyboard, pointer, touch screen
};

}  // namespace tessaline::platform
