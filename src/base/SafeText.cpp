#include "base/SafeText.h"

namespace tessaline {
namespace {

/// Bytes of the control character that `text` begins with, 0 when it begins with none: C0, DEL,
/// C1 (U+0080…U+009F), line and paragraph separators and the writing-direction marks and overrides
/// (U+200E, U+200F, U+2028…U+202E, U+2066…U+2069).
std::size_t controlLength(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  if (byte(0) < 0x20 || byte(0) == 0x7F) return 1;
  if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) <= 0x9F) return 2;
  if (byte(0) != 0xE2) return 0;
  const unsigned last = byte(2);
  if (byte(1) == 0x80 && (last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE))) return 3;
  if (byte(1) == 0x81 && last >= 0xA6 && last <= 0xA9) return 3;
  return 0;
}

}  // namespace

std::string withoutControls(std::string_view text, char replacement) {
  std::string safe;
  while (!text.empty()) {
    const std::size_t control = controlLength(text);
    safe += control > 0 ? replacement : text.front();
    text.remove_prefix(control > 0 ? control : 1);
  }
  return safe;
}

}  // namespace tessaline
