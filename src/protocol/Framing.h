#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "base/Bytes.h"

namespace tessaline {

/// Framing of the stream between two computers, the same in both directions: a length L (u32,
/// big-endian) that counts what follows, a type byte, and L − 1 bytes of payload.
namespace framing {

constexpr std::size_t kLengthBytes = 4;

// The screen accepts whole key frames; nothing that it sends itself is large.
constexpr std::uint32_t kMainReaderLimit = 1U << 20;
constexpr std::uint32_t kScreenReaderLimit = 1U << 26;

/// Length and type byte of a message whose payload has `payloadSize` bytes.
[[nodiscard]] std::array<std::uint8_t, 5> header(std::uint8_t type, std::size_t payloadSize);

/// A whole message in one buffer, for short ones.
[[nodiscard]] Bytes message(std::uint8_t type, ByteView payload);

/// L from the 4 bytes of a header; nothing when it is 0 or not below `limit`, which ends the
/// connection: the stream cannot be resynchronised.
[[nodiscard]] std::optional<std::uint32_t> acceptedLength(ByteView lengthBytes,
                                                          std::uint32_t limit);

}  // namespace framing
}  // namespace tessaline
