#pragma once

#include <cstdint>

namespace tessaline::platform {

/// The names and numbers of Mutter's interfaces on the session bus.
struct MutterNames {
  static constexpr const char* kScreenCast = "org.gnome.Mutter.ScreenCast";
  static constexpr const char* kScreenCastPath = "/org/gnome/Mutter/ScreenCast";
  static constexpr const char* kScreenCastSession = "org.gnome.Mutter.ScreenCast.Session";
  static constexpr const char* kStream = "org.gnome.Mutter.ScreenCast.Stream";
  static constexpr const char* kRemoteDesktop = "org.gnome.Mutter.RemoteDesktop";
  static constexpr const char* kRemoteDesktopPath = "/org/gnome/Mutter/RemoteDesktop";
  static constexpr const char* kRemoteSession = "org.gnome.Mutter.RemoteDesktop.Session";
  static constexpr const char* kDisplayConfig = "org.gnome.Mutter.DisplayConfig";
  static constexpr const char* kDisplayConfigPath = "/org/gnome/Mutter/DisplayConfig";
  static constexpr const char* kProperties = "org.freedesktop.DBus.Properties";

  static constexpr std::uint32_t kPointerApart = 2;   // a cursor mode: told beside the picture
  static constexpr std::uint32_t kTemporary = 1;      // a way to apply a layout
  static constexpr std::uint32_t kLogicalLayout = 1;  // coordinates are points
  static constexpr const char* kVirtualVendor = "MetaVendor";
};

}  // namespace tessaline::platform
