#pragma once

#include <string>
#include <string_view>

namespace tessaline::WebPage {

/// The page as it is stored, "__VERSION__" still in place of its version.
[[nodiscard]] std::string_view html();

/// Differs between any two pages: the low 32 bits of the stored text's hash, in base 36.
[[nodiscard]] const std::string& version();

/// The whole answer to one request on the page port: "/version…" gets the version, everything else,
/// junk included, the page.
[[nodiscard]] std::string response(std::string_view request);

}  // namespace tessaline::WebPage
