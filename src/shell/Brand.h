#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessaline {

/// What makes the application recognisable: its name, its colours and its icons, as plain data that
/// any toolkit can draw.
struct Brand {
  static constexpr std::string_view kName = "Tessaline";
  static constexpr std::string_view kTagline = "Any screen you have, next to the one you work on.";

  // 0xRRGGBB. The gradient runs from the top left to the bottom right.
  static constexpr std::uint32_t kGradientStart = 0xFFB347;
  static constexpr std::uint32_t kGradientEnd = 0xFF6B6B;
  static constexpr std::uint32_t kCoral = 0xFF6B6B;
  /// The coral of letters and thin lines on a light ground, where the other is too faint to read.
  static constexpr std::uint32_t kCoralDeep = 0xD03B41;

  /// The application's icon, a smiling screen, as a square SVG document; legible from 16 pixels up.
  /// It is icon.svg, embedded by the build.
  [[nodiscard]] static std::string_view iconSvg();
  /// The same smile for a menu bar or a tray: filled while a screen is on (`active`), else an
  /// outline. Both are legible on light and on dark panels from 16 pixels up.
  [[nodiscard]] static std::string menuBarIconSvg(bool active);
};

}  // namespace tessaline
