#pragma once

#include <string>
#include <string_view>

namespace tessaline {

/// `text` with each control character, also those that change the direction of writing, replaced:
/// what strangers choose (names, above all) reaches terminals, menus and questions. `text` is
/// UTF-8; invalid bytes are left as they are.
[[nodiscard]] std::string withoutControls(std::string_view text, char replacement = '?');

}  // namespace tessaline
