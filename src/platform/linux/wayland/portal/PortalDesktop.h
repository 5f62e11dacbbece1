#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/Queue.h"
#include "base/Result.h"
#include "platform/DesktopEnvironment.h"

namespace tessaline::platform {

/// Any desktop whose portal (org.freedesktop.portal.Desktop) makes extra displays and lends input
/// devices: ScreenCast with virtual sources, and RemoteDesktop. It asks its user for consent once;
/// what lets it skip the question the next time is kept in `support`, for nobody else's eyes.
///
/// No portal tells where a display lies among the others, and none lets it be moved: an extra
/// display has the place that the portal reports, else one of its own beside the other extra
/// displays, and only extra displays are listed.

/// Why the portal of this session cannot serve, as one sentence for its user; nothing when it can.
/// Asks the session bus, which may have to start the portal: takes up to `patience`.
[[nodiscard]] std::optional<std::string> portalObstacle(
    std::chrono::milliseconds patience = std::chrono::seconds(5));

/// Fails with the obstacle. `support` is the folder for the application's private files; `queues`
/// outlive the desktop.
[[nodiscard]] Result<std::unique_ptr<DesktopEnvironment>> openPortalDesktop(
    Queues& queues, const std::filesystem::path& support);

}  // namespace tessaline::platform
