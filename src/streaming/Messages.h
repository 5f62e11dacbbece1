#pragma once

#include <string_view>

namespace tessaline::Messages {

// Why a session ended, as the user reads it and as the controller compares it.
constexpr std::string_view localNetwork =
    "macOS is blocking the connection. Turn on Tessaline in System Settings > Privacy & Security > "
    "Local Network.";
constexpr std::string_view refused = "This screen was not allowed.";
constexpr std::string_view noDisplay = "Could not create the virtual display.";
constexpr std::string_view noEncoder = "Video encoder unavailable.";
constexpr std::string_view noCapture =
    "Cannot capture the screen: allow Tessaline in System Settings > Privacy & Security > Screen "
    "Recording.";

}  // namespace tessaline::Messages
