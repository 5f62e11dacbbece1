#include "base/Utf8.h"

#include <cstdint>

namespace tessaline {

std::u32string decodeUtf8(std::string_view text) {
  std::u32string characters;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<std::uint8_t>(text[i]);
    const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = length == 1 ? lead : lead & (0x7FU >> length);
    for (int k = 1; k < length && ++i < text.size(); ++k) {
      character = character << 6 | (static_cast<std::uint8_t>(text[i]) & 0x3FU);
    }
    ++i;
    characters += character;
  }
  return characters;
}

std::string encodeUtf8(std::u32string_view characters) {
  std::string text;
  for (const char32_t c : characters) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else if (c < 0x800) {
      text += static_cast<char>(0xC0 | (c >> 6));
      tail(0);
    } else if (c < 0x10000) {
      text += static_cast<char>(0xE0 | (c >> 12));
      tail(6), tail(0);
    } else {
      text += static_cast<char>(0xF0 | (c >> 18));
      tail(12), tail(6), tail(0);
    }
  }
  return text;
}

}  // namespace tessaline
