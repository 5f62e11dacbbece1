#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tessaline {

/// `length` characters of `alphabet`, character n being entry (byte n modulo the alphabet's size)
/// of the system's secure random source. Aborts when that source fails: a weak secret is worse.
[[nodiscard]] std::string randomText(std::size_t length, std::string_view alphabet);

/// A new random UUID: 36 characters, upper-case hexadecimal with hyphens.
[[nodiscard]] std::string randomUuid();

}  // namespace tessaline
