#pragma once

#include <string>
#include <string_view>

namespace tessaline::platform {

/// `wanted` as a service may be named: valid UTF-8 of at most 63 bytes, cut between characters,
/// control characters replaced by spaces.
[[nodiscard]] std::string fitServiceName(std::string_view wanted);

/// Whether a name that came from the network is one.
[[nodiscard]] bool isServiceName(std::string_view name);

/// The next name to try when `name` is taken: it carries a number, and still fits.
[[nodiscard]] std::string alternativeServiceName(const std::string& name);

}  // namespace tessaline::platform
