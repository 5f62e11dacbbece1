#pragma once

#include <string_view>

namespace tessaline {

/// The browser page, one self-contained HTML document in UTF-8. Its "__VERSION__" is a placeholder
/// for the page version, filled in when the page is served.
extern const std::string_view kWebPageHtml;

}  // namespace tessaline
