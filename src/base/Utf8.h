#pragma once

#include <string>
#include <string_view>

namespace tessaline {

/// The Unicode scalars of `text`, which must be valid UTF-8.
[[nodiscard]] std::u32string decodeUtf8(std::string_view text);
[[nodiscard]] std::string encodeUtf8(std::u32string_view characters);

}  // namespace tessaline
