#pragma once

#include <cstdint>
#include <string_view>

namespace tessaline {

/// What makes the application recognisable: its name, its colours and its icon, as plain data that
/// any toolkit can draw.
struct Brand {
  static constexpr std::string_view kName = "Tessaline";
  static constexpr std::string_view kTagline = "Any screen you have, next to the one you work on.";

  /// 0xRRGGBB.
  static constexpr std::uint32_t kCoral = 0xFF6B57;
  static constexpr std::uint32_t kCoralDeep = 0xD9432F;
  static constexpr std::uint32_t kInk = 0x23283A;

  /// The icon as an SVG document, square and legible from 16 pixels up: a screen, and the tile that
  /// extends it.
  [[nodiscard]] static std::string_view iconSvg();
};

}  // namespace tessaline
