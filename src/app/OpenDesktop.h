#pragma once

#include <filesystem>
#include <memory>

#include "base/Queue.h"
#include "base/UserDefaults.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline {

/// The desktop session that this process runs in. On X11 the X server makes extra displays. On
/// Wayland the compositor itself does where it can (GNOME's without a question), else the desktop
/// portal, else the protocols of the wlroots family. The setting "desktop" names one of "x11",
/// "mutter", "portal" and "wlroots" instead. `support` is the folder for private files. On the main
/// queue.
[[nodiscard]] std::unique_ptr<platform::DesktopEnvironment> openDesktop(
    Queues& queues, const UserDefaults& defaults, const std::filesystem::path& support);

}  // namespace tessaline
