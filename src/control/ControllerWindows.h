#pragma once

#include <string_view>

namespace tessaline {

/// The alert that tells how another computer becomes a screen.
struct MacHelp {
  static constexpr std::string_view kMessage = "Use another Mac as your extra screen";
  static constexpr std::string_view kInformativeText =
      "Install Tessaline on the other Mac (macOS 10.15 or later), open it and choose “Make this an "
      "extra screen”. It shows up here automatically, on the same Wi-Fi.\n\nThis is the smoothest "
      "option, and it starts by itself with the other Mac.";
  static constexpr std::string_view kButton = "OK";
};

/// The windows of the main role, which the controller opens and closes. Each is made once and kept:
/// showing it again centres it and brings it to the front, with the application activated. Called
/// on the main queue; nothing waits for the user. Provided by the application shell, outlives the
/// controller.
class ControllerWindows {
 public:
  virtual ~ControllerWindows() = default;
  /// The setup assistant: 520 × 720, titled "Tessaline", showing `Controller::setupAssistant`.
  virtual void showOnboarding() = 0;
  virtual void closeOnboarding() = 0;
  /// The link window: 380 × 460, titled "Tessaline".
  virtual void showQR() = 0;
  /// The alert with the texts of `MacHelp` and the application's icon.
  virtual void showMacHelp() = 0;
  /// Whether the application shows itself among the running programs, or in the menu bar only.
  virtual void setRegular(bool regular) = 0;
};

}  // namespace tessaline
